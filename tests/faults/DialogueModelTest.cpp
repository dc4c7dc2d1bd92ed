#include "faults/DialogueModel.h"

#include <gtest/gtest.h>

#include <string>

namespace kvo::bootloadertms::testing {
namespace {

using State = DialogueModel::State;

class DialogueModelTest : public ::testing::Test {
 protected:
  // All that the host sends when it reads these answers, a '|' before each.
  std::string Dialogue(const std::string& answers) {
    model_.Restart();
    std::string sent = model_.ToSend();
    for (const char answer : answers) {
      model_.Take(static_cast<std::uint8_t>(answer));
      sent += "|" + model_.ToSend();
    }
    return sent;
  }

  const std::string closing_ = std::string("\x01\x00\xFF", 3) + std::string(130, '\0');
  DialogueModel model_{"zero", {"first", "second"}};
};

TEST_F(DialogueModelTest, AWholeTransfer) {
  EXPECT_EQ(Dialogue("C\x06\x43\x06\x06\x06\x43\x06O"),
            "1|zero||first|second|\x04||" + closing_ + "||");
  EXPECT_EQ(model_.GetState(), State::kAccepted);
  EXPECT_TRUE(model_.HasEnded());
}

TEST_F(DialogueModelTest, WhatIsSentAgain) {
  EXPECT_EQ(Dialogue("xCC\x15\x06x\x06\x43\x15\x43\x06"),
            "1||zero|zero|zero||zero||first|first|first|second");
  EXPECT_EQ(model_.GetState(), State::kBlock);
  EXPECT_EQ(Dialogue("C\x06\x43\x06\x06\x15\x06\x43x\x06"),
            "1|zero||first|second|\x04|\x04||" + closing_ + "|" + closing_ + "|");
  EXPECT_EQ(model_.GetState(), State::kVerdict);
  EXPECT_FALSE(model_.HasEnded());
}

TEST_F(DialogueModelTest, Failures) {
  EXPECT_EQ(Dialogue("F"), "1|");
  EXPECT_EQ(model_.GetState(), State::kTransmitFailed);
  EXPECT_EQ(Dialogue("C\x15"), "1|zero|\x18\x18");
  EXPECT_EQ(Dialogue("CCC"), "1|zero|zero|\x18\x18");
  EXPECT_EQ(Dialogue("C\x06\x43x"), "1|zero||first|");
  EXPECT_EQ(model_.GetState(), State::kTransmitFailed);
  EXPECT_EQ(Dialogue("C\x06\x43\x06\x06\x06xx"), "1|zero||first|second|\x04|||");
  EXPECT_EQ(model_.GetState(), State::kRefused);
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
