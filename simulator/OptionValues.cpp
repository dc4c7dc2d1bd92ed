#include "simulator/OptionValues.h"

#include <stdexcept>
#include <vector>

namespace kvo::boardsimulator {
namespace {

void Take(const std::string& option, const TakeText& take, const std::string& text) {
  try {
    take(text);
  } catch (const std::invalid_argument& mistake) {
    throw CLI::ValidationError(option, mistake.what());
  }
}

}  // namespace

CLI::Option* AddOption(CLI::App& app, const OptionText& option, const TakeText& take) {
  const auto take_one = [name = option.name, take](const std::string& text) {
    Take(name, take, text);
  };
  return app.add_option_function<std::string>(option.name, take_one, option.help)
      ->type_name(option.value);
}

void AddRepeatable(CLI::App& app, const OptionText& option, const TakeText& take) {
  const auto take_each = [name = option.name, take](const std::vector<std::string>& texts) {
    for (const std::string& text : texts) {
      Take(name, take, text);
    }
  };
  app.add_option_function<std::vector<std::string>>(option.name, take_each, option.help)
      ->type_name(option.value)
      ->type_size(1)
      ->allow_extra_args(false);
}

void AddNumber(CLI::App& app, const OptionText& option, std::uint32_t smallest,
               std::uint32_t largest, const TakeNumber& take) {
  app.add_option_function<std::uint32_t>(option.name, take, option.help)
      ->type_name(option.value)
      ->check(CLI::Range(smallest, largest).description(""));
}

}  // namespace kvo::boardsimulator
