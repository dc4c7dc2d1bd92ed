// What check_hardening looks at where the programs themselves give a protection nothing to do. It
// is compiled with the settings of all targets, and never run.

#include <cstddef>
#include <cstdlib>
#include <cstring>

extern "C" {

void UseInts(int* values);
void UseBytes(char* bytes);

// An array that is none of characters: the strong stack protector alone guards it.
void ProbeOfStackProtector() {
  int values[3] = {};
  UseInts(values);
}

// More than a guard page, which must not be jumped over.
void ProbeOfStackClash() {
  char bytes[300000];
  UseBytes(bytes);
}

// A size that is known only when it runs: _FORTIFY_SOURCE=3 alone checks it.
char* ProbeOfFortify(const char* source, std::size_t size, std::size_t count) {
  char* const copy = static_cast<char*>(std::malloc(size));
  if (copy != nullptr) {
    std::memcpy(copy, source, count);
  }
  return copy;
}
}
