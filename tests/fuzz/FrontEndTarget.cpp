// The front end with any arguments, and a client that may fail.
//
// Input: how the client fails (bits 0 and 1) and at which call (bits 2 and 3), whether the
// process-wide log is verbose (bit 4); the result of its pings; then the arguments behind the
// program's name, each ended by a NUL byte.
#include <algorithm>
#include <array>
#include <iostream>
#include <stdexcept>
#include <typeinfo>
#include <vector>

#include "front_end/Modes.h"
#include "front_end/Arguments.h"
#include "front_end/Utility.h"
#include "fuzz/FakeClient.h"
#include "fuzz/FrontEndModel.h"
#include "fuzz/FuzzInput.h"
#include "fuzz/FuzzTarget.h"
#include "fuzz/Require.h"
#include "support/CapturedStream.h"

namespace {

using kvo::bootloadertms::ArgumentList;
using kvo::bootloadertms::FrontEndLog;
using kvo::bootloadertms::LogMess;
using namespace kvo::bootloadertms::testing;

std::vector<std::string> TakeArguments(FuzzInput& input) {
  std::vector<std::string> arguments;
  std::string argument;
  for (const char character : input.TakeRest()) {
    if (character == '\0') {
      arguments.push_back(argument);
      argument.clear();
    } else {
      argument += character;
    }
  }
  if (!argument.empty()) {
    arguments.push_back(argument);
  }
  return arguments;
}

std::vector<const char*> WithProgramName(const std::vector<std::string>& arguments) {
  std::vector<const char*> values = {"the-program"};
  for (const std::string& argument : arguments) {
    values.push_back(argument.c_str());
  }
  return values;
}

void CheckTooFew(const std::vector<const char*>& values) {
  const CapturedStream out(std::cout);
  const CapturedStream err(std::cerr);
  const int status = kvo::bootloadertms::RunUtility(static_cast<int>(values.size()), values.data());
  Require(status == 1, "too few arguments are a failure");
  Require(out.Text().empty(), "too few arguments show nothing on standard output");
  Require(err.Text().rfind("Bad arguments number\n", 0) == 0, "too few arguments show the usage");
}

void CheckOptions(const ArgumentList& list, const FrontEndModel& model,
                  const std::vector<std::string>& arguments) {
  for (const std::string& option : arguments) {
    Require(list.HasOption(option), "each argument is there");
    Require(list.GetOption(option) == model.ValueOf(option), "its value is the model's");
  }
  for (const char* option : {"--verbose", "--command", "--send", "", "-", "--comman"}) {
    Require(list.HasOption(option) == model.Has(option), "other options are there or not");
    Require(list.GetOption(option) == model.ValueOf(option), "their values are the model's");
  }
  Require(kvo::bootloadertms::ParseBaudRate(list) == DecimalNumber(arguments.at(1)),
          "the baud rate is the model's");
}

// How a call ends: nothing, or the type and the text of what it throws.
template <typename Call>
std::string EndOf(const Call& call) {
  try {
    call();
    return "";
  } catch (const std::exception& error) {
    return std::string(typeid(error).name()) + " " + error.what();
  }
}

void CheckMode(const ArgumentList& list, FrontEndModel& model, FakeClient client,
               FakeClient model_client) {
  std::string end;
  std::string printed;
  {
    const CapturedStream out(std::cout);
    end = EndOf([&] { kvo::bootloadertms::RunChosenMode(list, client); });
    printed = out.Text();
  }
  const std::string expected_end = EndOf([&] { model.RunMode(model_client); });
  Require(end == expected_end, "the end is the model's");
  Require(client.Calls() == model_client.Calls(), "the calls are the model's");
  Require(printed == model.Printed(), "standard output is the model's");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kFewestArguments = 4;
  const RunLimit limit;
  if (size < 2) {
    return 0;
  }
  FuzzInput input(data, size);
  const std::uint8_t behaviour = input.TakeByte();
  const auto failure = static_cast<FakeClient::Failure>(behaviour & 3U);
  const unsigned failing_call = (behaviour >> 2U) & 3U;
  const bool log_is_verbose = (behaviour & 16U) != 0;
  const std::uint8_t value = input.TakeByte();
  const std::vector<std::string> arguments = TakeArguments(input);
  const std::vector<const char*> values = WithProgramName(arguments);
  if (arguments.size() < kFewestArguments) {
    CheckTooFew(values);
    return 0;
  }
  const ArgumentList list(static_cast<int>(values.size()), values.data());
  FrontEndModel model(arguments, log_is_verbose);
  CheckOptions(list, model, arguments);
  FrontEndLog().SetVerbose(list.HasOption("--verbose"));
  LogMess::GetInstance().SetVerbose(log_is_verbose);
  CheckMode(list, model, FakeClient(failure, failing_call, value),
            FakeClient(failure, failing_call, value));
  return 0;
}
