#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace kvo::bootloadertms::testing {

// Writes down, for as long as the object lives, each call of `open`, `write`, `tcflush`,
// `tcsetattr` and `popen` that this process makes, and hands it on to the system:
//
//   RecordedSystemCalls calls;
//   calls.FailWrite(2, EIO);
//   ...
//   EXPECT_EQ(calls.Texts(), (std::vector<std::string>{R"(open("/dev/ttyX", 0x101102))",
//                                                      R"(write(3, "a", 1))",
//                                                      R"(write(3, "b", 1))"}));
//
// Without an object these functions do what the system's own do. Calls from inside the C library
// are not seen. At most one object lives at a time, and one thread makes the calls.
//
// It has a library of its own, as every program that links it gets the functions.
class RecordedSystemCalls {
 public:
  RecordedSystemCalls();
  RecordedSystemCalls(const RecordedSystemCalls&) = delete;
  RecordedSystemCalls& operator=(const RecordedSystemCalls&) = delete;

  // Fails the test when a write that was to be answered specially did not come.
  ~RecordedSystemCalls();

  // The calls in their order, as above: texts as they are, flags of `open` in hexadecimal, all
  // other numbers in decimal; of the settings of `tcsetattr` nothing.
  const std::vector<std::string>& Texts() const;

  // Puts a line of the test's own among the calls, such as a sleep that it has seen.
  void Note(std::string text);

  // The `ordinal`th write, from 1, sends nothing and fails with this `errno`.
  void FailWrite(std::size_t ordinal, int error);

  // The `ordinal`th write, from 1, sends the first `length` bytes at most.
  void ShortenWrite(std::size_t ordinal, std::size_t length);

  struct WriteAnswer {
    int error = 0;
    std::size_t longest = static_cast<std::size_t>(-1);
  };

  // For the functions that stand in for the C library's.
  static RecordedSystemCalls* Current();
  WriteAnswer NoteWrite(int descriptor, std::string_view data);

 private:
  std::vector<std::string> texts_;
  std::map<std::size_t, WriteAnswer> write_answers_;
  std::size_t writes_ = 0;
};

}  // namespace kvo::bootloadertms::testing
