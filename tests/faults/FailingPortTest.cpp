#include "faults/FailingPort.h"

#include <gtest/gtest.h>

#include <system_error>

#include "faults/ObligingBoard.h"
#include "support/RuntimeErrorOf.h"

namespace kvo::bootloadertms::testing {
namespace {

class FailingPortTest : public ::testing::Test {
 protected:
  void Fail(Failure failure, std::size_t first_call, bool lasting) {
    trouble_.failure = failure;
    trouble_.first_call = first_call;
    trouble_.lasting = lasting;
  }

  template <typename Call>
  static void ExpectEfault(const Call& call) {
    try {
      call();
      ADD_FAILURE() << "no error";
    } catch (const std::system_error& error) {
      EXPECT_EQ(error.code(), std::error_code(EFAULT, std::system_category()));
    }
  }

  ObligingBoard board_{ObligingBoard::Program::kBootloader};
  PortTrouble trouble_;
  FailingPort port_{board_, trouble_};
  std::string data_ = "former content";
};

TEST_F(FailingPortTest, HandsOnWhatGoesWellAndNotesIt) {
  EXPECT_EQ(port_.FlushInput(), 0);
  port_.WriteByte('0');
  EXPECT_EQ(port_.ReadByte(), 'A');
  port_.Read(data_);
  EXPECT_EQ(data_, "");
  EXPECT_EQ(port_.Close(), 0);
  EXPECT_EQ(trouble_.calls, "FWBR");
  EXPECT_EQ(trouble_.written, "0");
  EXPECT_EQ(trouble_.closes, 1);
  EXPECT_EQ(trouble_.calls_without_lock, 4);
}

TEST_F(FailingPortTest, FailsOnceAsTheContractSays) {
  Fail(Failure::kFails, 2, false);
  port_.WriteByte('0');
  EXPECT_EQ(port_.ReadByte(), 0xFF);
  EXPECT_EQ(port_.ReadByte(), 'A') << "the answer is still to come";
}

TEST_F(FailingPortTest, FailsFromACallOnAsTheContractSays) {
  Fail(Failure::kFails, 2, true);
  port_.WriteByte('0');
  EXPECT_EQ(port_.ReadByte(), 0xFF);
  EXPECT_EQ(port_.FlushInput(), -1);
  ExpectEfault([this] { port_.WriteByte('0'); });
  ExpectEfault([this] { port_.Write("0"); });
  ExpectEfault([this] { port_.WriteSlowly("0", 0); });
  ExpectEfault([this] { port_.Read(data_); });
  EXPECT_EQ(data_, "");
  EXPECT_EQ(trouble_.calls, "WBFWWWR");
}

TEST_F(FailingPortTest, ASilentPortReadsNothingAndWrites) {
  Fail(Failure::kSilent, 1, true);
  port_.WriteByte('0');
  EXPECT_TRUE(board_.HasAnswer());
  EXPECT_EQ(port_.ReadByte(), 0x00);
  port_.Read(data_);
  EXPECT_EQ(data_, "");
  EXPECT_EQ(port_.FlushInput(), 0);
  EXPECT_FALSE(board_.HasAnswer());
}

TEST_F(FailingPortTest, AClosedPortTellsThatItIsNotOpen) {
  Fail(Failure::kClosed, 1, true);
  const char* const not_open = "Called but state != open. Call open() first";
  EXPECT_EQ(RuntimeErrorOf([this] { port_.WriteByte('0'); }), not_open);
  EXPECT_EQ(RuntimeErrorOf([this] { port_.ReadByte(); }), not_open);
  ExpectEfault([this] { port_.Read(data_); });
  EXPECT_EQ(port_.FlushInput(), -1);
}

TEST_F(FailingPortTest, EndsARunThatWaitsForEver) {
  Fail(Failure::kSilent, 2, false);
  trouble_.patience = 3;
  for (int i = 0; i < 5; ++i) {
    port_.ReadByte();
  }
  EXPECT_THROW(port_.ReadByte(), StillWaiting);
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
