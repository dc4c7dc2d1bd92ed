// The front end with any arguments, and a client that may fail.
//
// Input: how the client fails (bits 0 and 1) and at which call (bits 2 and 3), whether the
// process-wide log is verbose (bit 4); the result of its pings; then the arguments after the
// program's name, each ended by a NUL byte.
#include <cerrno>
#include <iostream>
#include <stdexcept>
#include <system_error>
#include <typeinfo>
#include <vector>

#include "front_end/Arguments.h"
#include "front_end/Modes.h"
#include "front_end/Utility.h"
#include "fuzz/FrontEndModel.h"
#include "fuzz/Fuzzing.h"
#include "support/Output.h"

namespace {

using kvo::bootloadertms::AppInfos;
using kvo::bootloadertms::ArgumentList;
using kvo::bootloadertms::DeviceInfos;
using kvo::bootloadertms::FrontEndLog;
using kvo::bootloadertms::IBootLoader;
using kvo::bootloadertms::LogMess;
using kvo::bootloadertms::TransferProgress;
using namespace kvo::bootloadertms::testing;
using namespace std::string_literals;

enum class Failure { kNone, kRuntimeError, kSystemError, kLogicError };

// A client without a board, which writes down what is asked of it.
class FakeClient : public IBootLoader {
 public:
  // The call number `failing_call`, from 0, throws; what pings and the calibration return is
  // `value`.
  FakeClient(Failure failure, unsigned failing_call, std::uint8_t value)
      : failure_(failure), failing_call_(failing_call), value_(value) {}

  std::uint32_t PingBootloader() override { return Note("PingBootloader"), value_; }
  std::uint32_t PingApplication() override { return Note("PingApplication"), value_; }
  int Calibrate() override { return Note("Calibrate"), value_; }
  void ActivateBootloader() override { Note("ActivateBootloader"); }
  void ActivateApplication() override { Note("ActivateApplication"); }
  std::string SendBootloaderCommand(std::uint32_t command) override {
    return Note("SendBootloaderCommand " + std::to_string(command)), "an answer\r\n\0"s;
  }
  std::string SendApplicationCommand(std::uint32_t command) override {
    return Note("SendApplicationCommand " + std::to_string(command)), "a status";
  }
  void UploadImage(const std::string& image_path) override { Note("UploadImage " + image_path); }
  void UploadImageWithInfos(const std::string& image_path, const AppInfos& /*infos*/) override {
    Note("UploadImageWithInfos " + image_path);
  }
  void SetVerbose(bool /*verbose*/) override { Note("SetVerbose"); }
  void SetTransferCallback(TransferProgress /*callback*/) override { Note("SetTransferCallback"); }
  DeviceInfos ReadBootloaderInfos() override {
    return Note("ReadBootloaderInfos"), DeviceInfos("s", "h", "", "V", "v", "BL_OK");
  }
  DeviceInfos ReadApplicationInfos() override {
    return Note("ReadApplicationInfos"), DeviceInfos("S", "H", "P", "V", "", "status");
  }
  void RestoreDefaultParameters() override { Note("RestoreDefaultParameters"); }
  std::string SendCharacter(std::uint8_t character) override {
    return Note("SendCharacter " + std::to_string(character)), "";
  }

  // One line per call.
  const std::string& Calls() const { return calls_; }

 private:
  void Note(const std::string& call) {
    calls_ += call + '\n';
    if (failure_ == Failure::kNone || count_++ != failing_call_) {
      return;
    }
    switch (failure_) {
      case Failure::kLogicError:
        throw std::logic_error("a fault of the program");
      case Failure::kSystemError:
        throw std::system_error(EFAULT, std::system_category());
      default:
        throw std::runtime_error("the client failed");
    }
  }

  Failure failure_;
  unsigned failing_call_;
  std::uint8_t value_;
  unsigned count_ = 0;
  std::string calls_;
};

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
  const auto failure = static_cast<Failure>(behaviour & 3U);
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
