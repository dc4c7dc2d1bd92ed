#include "front_end/ArgumentList.h"

#include <algorithm>

namespace kvo::bootloadertms {

ArgumentList::ArgumentList(int argc, const char* const* argv) : arguments_(argv + 1, argv + argc) {}

bool ArgumentList::HasOption(const std::string& option) const {
  return std::find(arguments_.begin(), arguments_.end(), option) != arguments_.end();
}

const std::string& ArgumentList::GetOption(const std::string& option) const {
  static const std::string kNothing;
  const auto found = std::find(arguments_.begin(), arguments_.end(), option);
  if (found == arguments_.end() || found + 1 == arguments_.end()) {
    return kNothing;
  }
  return *(found + 1);
}

const std::string& ArgumentList::At(std::size_t index) const { return arguments_.at(index); }

}  // namespace kvo::bootloadertms
