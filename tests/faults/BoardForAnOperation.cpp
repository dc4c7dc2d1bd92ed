#include "faults/BoardForAnOperation.h"

#include <gtest/gtest.h>

namespace kvo::bootloadertms::testing {

BoardForAnOperation::BoardForAnOperation(const Operation& operation, const std::string& image_name)
    : operation_(operation),
      image_path_(folder_.WriteFile(image_name, ImageOf(operation))),
      board_(operation.program, ImageOf(operation)) {}

void BoardForAnOperation::Restart() { board_.Restart(operation_.program); }

void BoardForAnOperation::ExpectUsable(BootLoader& client, PortTrouble& trouble) {
  trouble.first_call = 0;
  trouble.calls.clear();
  board_.Restart(ObligingBoard::Program::kBootloader);
  client.SetVerbose(false);
  EXPECT_EQ(client.PingBootloader(), 9U);
}

}  // namespace kvo::bootloadertms::testing
