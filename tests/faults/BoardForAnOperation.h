#pragma once

#include <chrono>
#include <string>

#include "client/BootLoader.h"
#include "faults/FailingPort.h"
#include "faults/ObligingBoard.h"
#include "faults/Operations.h"
#include "support/FakeTime.h"
#include "support/SilencedOutput.h"
#include "support/TemporaryFolder.h"

namespace kvo::bootloadertms::testing {

// What an operation of a client runs on: a board that obliges it, and a file with its image. While
// an object lives, no sleep takes time and standard output shows nothing.
class BoardForAnOperation {
 public:
  BoardForAnOperation(const Operation& operation, const std::string& image_name);
  BoardForAnOperation(const BoardForAnOperation&) = delete;
  BoardForAnOperation& operator=(const BoardForAnOperation&) = delete;

  // As the operation wants to find it.
  void Restart();

  // Fails the test unless the client's next operation goes well on a port without trouble.
  void ExpectUsable(BootLoader& client, PortTrouble& trouble);

  ObligingBoard& Board() { return board_; }
  const std::string& ImagePath() const { return image_path_; }

 private:
  const Operation& operation_;
  SilencedOutput silence_;
  FakeTime time_{[](std::chrono::nanoseconds asked) { return asked; }};
  TemporaryFolder folder_;
  std::string image_path_;
  ObligingBoard board_;
};

}  // namespace kvo::bootloadertms::testing
