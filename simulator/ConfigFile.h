#pragma once

#include <CLI/CLI.hpp>
#include <istream>
#include <vector>

namespace kvo::boardsimulator {

// Reads a file of options, one name=value per line. What stands after the '=' is the value as a
// whole, so that texts with blanks, commas or '#' need no care; blanks around it are dropped, and
// so are quotes around it.
class ConfigFile : public CLI::ConfigBase {
 public:
  ConfigFile();

  // The lines of one name come together, wherever they stand.
  std::vector<CLI::ConfigItem> from_config(std::istream& input) const override;
};

}  // namespace kvo::boardsimulator
