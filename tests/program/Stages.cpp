#include "program/Stages.h"

namespace kvo::bootloadertms::testing {

void RunUpToAStage::RunUpTo(const Stage& stage) {
  std::vector<std::string> arguments = stage.arguments;
  if (arguments.front() == "IMAGE") {
    arguments.front() = image_;
  }
  Start(arguments);
  BoardPlays(stage.exchanges);
  ASSERT_EQ(terminal_.Receive(stage.packet_bytes).size(), stage.packet_bytes);
  BoardSends(stage.answer);
  ASSERT_EQ(terminal_.Receive(stage.more_bytes).size(), stage.more_bytes);
}

}  // namespace kvo::bootloadertms::testing
