#include "simulator/ConfigFile.h"

#include <algorithm>
#include <utility>

namespace kvo::boardsimulator {

// The base class takes values apart at these characters; none of them stands in a text.
ConfigFile::ConfigFile() {
  commentChar = '\0';
  arrayStart = '\x02';
  arrayEnd = '\x03';
}

// The parser of options takes the first item of a name and would drop the others.
std::vector<CLI::ConfigItem> ConfigFile::from_config(std::istream& input) const {
  std::vector<CLI::ConfigItem> merged;
  for (CLI::ConfigItem& item : CLI::ConfigBase::from_config(input)) {
    const auto same = std::ranges::find_if(merged, [&item](const CLI::ConfigItem& earlier) {
      return earlier.fullname() == item.fullname();
    });
    if (same == merged.end()) {
      merged.push_back(std::move(item));
    } else {
      same->inputs.insert(same->inputs.end(), item.inputs.begin(), item.inputs.end());
    }
  }
  return merged;
}

}  // namespace kvo::boardsimulator
