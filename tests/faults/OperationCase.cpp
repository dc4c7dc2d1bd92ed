#include "faults/OperationCase.h"

#include <gtest/gtest.h>

namespace kvo::bootloadertms::testing {

namespace {

// The model's end of a port.
class WireOnPort : public Wire {
 public:
  explicit WireOnPort(ISerialPort& port) : port_(port) {}

  void Write(std::uint8_t byte) override { port_.WriteByte(byte); }
  void Flush() override { port_.FlushInput(); }
  std::uint8_t ReadByte() override { return port_.ReadByte(); }
  std::string Read() override {
    std::string data;
    port_.Read(data);
    return data;
  }
  void Sleep(std::chrono::nanoseconds /*time*/) override {}

 private:
  ISerialPort& port_;
};

std::string ImageOf(std::size_t length) {
  std::string image(length, '\0');
  for (std::size_t i = 0; i < image.size(); ++i) {
    image[i] = static_cast<char>(i * 7 + i / 256);
  }
  return image;
}

}  // namespace

std::string NameOf(const OperationCase& operation_case) {
  const Operation& operation = *operation_case.operation;
  return operation.name +
         (IsAnUpload(operation) ? "Of" + std::to_string(operation_case.image_length) : "");
}

void PrintTo(const OperationCase& operation_case, std::ostream* out) {
  *out << NameOf(operation_case);
}

std::vector<OperationCase> OperationCases() {
  std::vector<OperationCase> cases;
  for (const Operation& operation : Operations()) {
    cases.push_back({&operation, 0});
    if (IsAnUpload(operation)) {
      cases.push_back({&operation, 2000});
    }
  }
  return cases;
}

std::string RoomForAnOutcome() {
  std::string outcome;
  outcome.reserve(512);
  return outcome;
}

BoardForAnOperation::BoardForAnOperation(const OperationCase& operation_case)
    : operation_(*operation_case.operation),
      arguments_{operation_.code, "", ImageOf(operation_case.image_length)},
      board_(ObligingBoard::Program::kBootloader, arguments_.image) {
  arguments_.image_path = folder_.WriteFile("a_file_name_of_firmware_tv.bin", arguments_.image);
}

std::unique_ptr<BootLoader> BoardForAnOperation::ClientWith(PortTrouble& trouble) {
  Restart();
  return std::make_unique<BootLoader>(std::make_unique<FailingPort>(board_, trouble));
}

std::string BoardForAnOperation::ExpectedWith(PortTrouble& trouble) {
  Restart();
  FailingPort port(board_, trouble);
  WireOnPort wire(port);
  ClientModel model(wire);
  return ModelOutcome(operation_, arguments_, model);
}

void BoardForAnOperation::ExpectUsable(BootLoader& client, PortTrouble& trouble) {
  trouble.first_call = 0;
  trouble.calls.clear();
  board_.Restart(ObligingBoard::Program::kBootloader);
  client.SetVerbose(false);
  EXPECT_EQ(client.PingBootloader(), 9U);
}

void BoardForAnOperation::Restart() {
  board_.Restart(operation_.is_of_application ? ObligingBoard::Program::kApplication
                                              : ObligingBoard::Program::kBootloader);
}

}  // namespace kvo::bootloadertms::testing
