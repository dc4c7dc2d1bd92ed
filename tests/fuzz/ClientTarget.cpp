// The client's operations against a board that answers anything.
//
// Input: the operation (bit 7: verbose), two bytes of its code; then the board's answers: a byte
// for each single byte that is read, a counted text for each other read.
#include <array>
#include <functional>
#include <iostream>
#include <memory>
#include <system_error>

#include "client/BootLoader.h"
#include "fuzz/ClientModel.h"
#include "fuzz/FuzzTarget.h"
#include "fuzz/PortOnLine.h"
#include "fuzz/Require.h"
#include "support/CapturedStream.h"
#include "support/FakeTime.h"
#include "support/HeldLocks.h"
#include "support/TemporaryFolder.h"

namespace {

using kvo::bootloadertms::AppInfos;
using kvo::bootloadertms::BootLoader;
using kvo::bootloadertms::DeviceInfos;
using namespace kvo::bootloadertms::testing;

const std::string& Image() {
  static const std::string kImage(1500, '\x5A');
  return kImage;
}

const std::string& ImagePath() {
  static const TemporaryFolder kFolder;
  static const std::string kPath = kFolder.WriteFile("fw_tv.bin", Image());
  return kPath;
}

std::string InWords(const DeviceInfos& infos) {
  return infos.GetAnswerS() + "\n" + infos.GetAnswerH() + "\n" + infos.GetAnswerP() + "\n" +
         infos.GetAnswerUpperV() + "\n" + infos.GetAnswerV() + "\n" + infos.GetBootStatus();
}

// An operation of the client, and what its model is; both get the code.
struct Operation {
  std::function<std::string(BootLoader&, std::uint16_t)> run;
  std::function<std::string(ClientModel&, std::uint16_t)> model;
  bool prints_a_trace = false;
};

const std::array<Operation, 13> kOperations = {{
    {[](BootLoader& client, auto) { return std::to_string(client.PingBootloader()); },
     [](ClientModel& model, auto) { return model.PingBootloader(); }},
    {[](BootLoader& client, auto) { return std::to_string(client.PingApplication()); },
     [](ClientModel& model, auto) { return model.PingApplication(); }},
    {[](BootLoader& client, auto) { return std::to_string(client.Calibrate()); },
     [](ClientModel& model, auto) { return model.Calibrate(); }},
    {[](BootLoader& client, auto) { return client.ActivateBootloader(), ""; },
     [](ClientModel& model, auto) { return model.ActivateBootloader(); }},
    {[](BootLoader& client, auto) { return client.ActivateApplication(), ""; },
     [](ClientModel& model, auto) { return model.ActivateApplication(); }},
    {[](BootLoader& client, auto code) { return client.SendBootloaderCommand(code); },
     [](ClientModel& model, auto code) { return model.SendBootloaderCommand(code); }},
    {[](BootLoader& client, auto code) { return client.SendApplicationCommand(code); },
     [](ClientModel& model, auto code) { return model.SendApplicationCommand(code); }},
    {[](BootLoader& client, auto) { return client.UploadImage(ImagePath()), ""; },
     [](ClientModel& model, auto) {
       return model.Upload(TransferModel(
           PacketZeroOfBoard(1500, "TRK4_R1", "TRK4-R1-APPLICATION", "VER 1.0"), Image()));
     },
     true},
    {[](BootLoader& client, auto) {
       return client.UploadImageWithInfos(ImagePath(), AppInfos("a", "b", "c")), "";
     },
     [](ClientModel& model, auto) {
       return model.Upload(TransferModel(PacketZeroOfRecord(1500, "a", "b", "c"), Image()));
     },
     true},
    {[](BootLoader& client, auto) { return InWords(client.ReadBootloaderInfos()); },
     [](ClientModel& model, auto) { return model.ReadBootloaderInfos(); }},
    {[](BootLoader& client, auto) { return InWords(client.ReadApplicationInfos()); },
     [](ClientModel& model, auto) { return model.ReadApplicationInfos(); }},
    {[](BootLoader& client, auto) { return client.RestoreDefaultParameters(), ""; },
     [](ClientModel& model, auto) { return model.RestoreDefaultParameters(); }},
    {[](BootLoader& client, auto code) {
       return client.SendCharacter(static_cast<std::uint8_t>(code));
     },
     [](ClientModel& model, auto code) {
       return model.SendCharacter(static_cast<std::uint8_t>(code));
     }},
}};

// The result in words, or how the call has failed.
template <typename Call>
std::string InWords(const Call& call) {
  try {
    return "result: " + call();
  } catch (const std::system_error& error) {
    return "system error: " + std::to_string(error.code().value());
  } catch (const std::runtime_error& error) {
    return std::string("error: ") + error.what();
  } catch (const InputUsedUp&) {
    return "no more answers";
  }
}

// Takes no time and notes the sleeps on the line, which must happen under the client's lock alone.
FakeTime::SleepObserver SleepOn(Line& line) {
  return [&line, held_before = HeldLocks()](std::chrono::nanoseconds asked) {
    Require(HeldLocks() == held_before + 1, "the lock is held in a sleep");
    line.Sleep(asked);
    return asked;
  };
}

void CheckOperation(const Operation& operation, std::uint16_t code, bool verbose,
                    const FuzzInput& answers) {
  Line line(answers);
  BootLoader client(std::make_unique<PortOnLine>(line));
  client.SetVerbose(verbose);
  std::string result;
  std::string printed;
  const int held_before = HeldLocks();  // libFuzzer has locks of its own
  {
    const FakeTime time(SleepOn(line));
    const CapturedStream out(std::cout);
    result = InWords([&] { return operation.run(client, code); });
    printed = out.Text();
  }

  Line expected_line(answers);
  ClientModel model(expected_line);
  const std::string expected = InWords([&] { return operation.model(model, code); });

  Require(HeldLocks() == held_before, "the lock is free again");
  Require(line.Record() == expected_line.Record(), "the conversation is the model's");
  Require(result == expected, "the result is the model's");
  if (!verbose && !operation.prints_a_trace) {
    Require(printed == model.Printed(), "standard output is the model's");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const RunLimit limit;
  FuzzInput input(data, size);
  try {
    const std::uint8_t choice = input.TakeByte();
    const std::uint16_t code = input.TakeWord();
    CheckOperation(kOperations.at(choice % 128 % kOperations.size()), code, choice >= 128, input);
  } catch (const InputUsedUp&) {
    return 0;
  }
  return 0;
}
