// The client's operations against a board that answers anything.
//
// Input: the operation's number in `Operations` (bit 7: verbose), two bytes of its code; then the
// board's answers: a byte for each single byte that is read, a counted text for each other read.
#include <iostream>
#include <memory>

#include "client/BootLoader.h"
#include "fuzz/Line.h"
#include "support/FakeTime.h"
#include "support/Files.h"
#include "support/HeldLocks.h"
#include "support/Output.h"
#include "tables/Operations.h"

namespace {

using kvo::bootloadertms::BootLoader;
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

// Takes no time and notes the sleeps on the line, which must happen under the client's lock alone.
FakeTime::SleepObserver SleepOn(Line& line) {
  return [&line, held_before = HeldLocks()](std::chrono::nanoseconds asked) {
    Require(HeldLocks() == held_before + 1, "the lock is held in a sleep");
    line.Sleep(asked);
    return asked;
  };
}

void CheckOperation(const Operation& operation, const Arguments& arguments, bool verbose,
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
    RunInto(result, operation, arguments, client);
    printed = out.Text();
  }

  Line expected_line(answers);
  ClientModel model(expected_line);
  const std::string expected = ModelOutcome(operation, arguments, model);

  Require(HeldLocks() == held_before, "the lock is free again");
  Require(line.Record() == expected_line.Record(), "the conversation is the model's");
  Require(result == expected, "the result is the model's");
  if (!verbose && !IsAnUpload(operation)) {  // which prints a trace
    Require(printed == model.Printed(), "standard output is the model's");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const RunLimit limit;
  FuzzInput input(data, size);
  try {
    const std::uint8_t choice = input.TakeByte();
    const Arguments arguments{input.TakeWord(), ImagePath(), Image()};
    const auto& operations = Operations();
    CheckOperation(operations.at(choice % 128 % operations.size()), arguments, choice >= 128,
                   input);
  } catch (const EndOfRun&) {
    return 0;  // nothing to check
  }
  return 0;
}
