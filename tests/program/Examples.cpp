#include "program/Examples.h"

#include <cstdint>

namespace kvo::bootloadertms::testing {

std::unique_ptr<RunningProgram> StartExample(const std::vector<std::string>& command,
                                             const StandInTools& tools) {
  auto example = std::make_unique<RunningProgram>(command, tools.Environment());
  example->Prefer();  // a board's answer is waited for for 100 ms only
  return example;
}

Outcome RunExample(const std::vector<std::string>& command) {
  const StandInTools tools;
  return OutcomeOf(*StartExample(command, tools));
}

std::string ExampleImage(std::size_t length) {
  std::string image;
  for (std::uint32_t i = 0; i < length; ++i) {
    image += static_cast<char>(i * i / 7);
  }
  return image;
}

}  // namespace kvo::bootloadertms::testing
