#pragma once

#include <chrono>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "client/BootLoader.h"
#include "faults/FailingPort.h"
#include "faults/ObligingBoard.h"
#include "support/FakeTime.h"
#include "support/Files.h"
#include "support/Output.h"
#include "tables/Operations.h"

namespace kvo::bootloadertms::testing {

// An operation of the client, and for an upload an image.
struct OperationCase {
  const Operation* operation;
  std::size_t image_length;
};

std::string NameOf(const OperationCase& operation_case);
void PrintTo(const OperationCase& operation_case, std::ostream* out);

// All operations; each upload with images of no and of two blocks.
std::vector<OperationCase> OperationCases();

// An empty text with the capacity for every outcome.
std::string RoomForAnOutcome();

// What an operation of a client runs on: a board that obliges it, and a file with its image. While
// an object lives, no sleep takes time and standard output shows nothing.
class BoardForAnOperation {
 public:
  explicit BoardForAnOperation(const OperationCase& operation_case);
  BoardForAnOperation(const BoardForAnOperation&) = delete;
  BoardForAnOperation& operator=(const BoardForAnOperation&) = delete;

  // A client of the board, which has just been started as the operation wants to find it.
  std::unique_ptr<BootLoader> ClientWith(PortTrouble& trouble);

  // How the operation is to end on a board with this trouble, which notes the model's calls.
  std::string ExpectedWith(PortTrouble& trouble);

  // Fails the test unless the client's next operation goes well on a port without trouble.
  void ExpectUsable(BootLoader& client, PortTrouble& trouble);

  bool HasConfirmed() const { return board_.HasConfirmed(); }
  const Arguments& GetArguments() const { return arguments_; }

 private:
  void Restart();

  const Operation& operation_;
  SilencedOutput silence_;
  FakeTime time_{[](std::chrono::nanoseconds asked) { return asked; }};
  TemporaryFolder folder_;
  Arguments arguments_;
  ObligingBoard board_;
};

}  // namespace kvo::bootloadertms::testing
