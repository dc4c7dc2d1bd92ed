#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace kvo::bootloadertms {

// The program's arguments, without its own name, in their order. Texts are compared whole and byte
// for byte; every element is looked at, positional ones included.
class ArgumentList {
 public:
  // As `main` gets them; `argc` must be at least 1.
  ArgumentList(int argc, const char* const* argv);

  bool HasOption(const std::string& option) const;

  // The element behind the first one that equals `option`; an empty text when there is none.
  const std::string& GetOption(const std::string& option) const;

  // The argument at `index`, from 0. Throws `std::out_of_range` when there are not so many.
  const std::string& At(std::size_t index) const;

 private:
  std::vector<std::string> arguments_;
};

}  // namespace kvo::bootloadertms
