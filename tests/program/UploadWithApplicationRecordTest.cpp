#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "program/Examples.h"

namespace kvo::bootloadertms::testing {
namespace {

using ::testing::HasSubstr;

class UploadWithApplicationRecordTest : public ::testing::Test {
 protected:
  Outcome Run(const SimulatedBoard& board, const std::vector<std::string>& record) const {
    std::vector<std::string> command = {KVO_UPLOAD_WITH_APPLICATION_RECORD, board.Path(), "1000000",
                                        image_};
    command.insert(command.end(), record.begin(), record.end());
    return RunExample(command);
  }

  const TemporaryFolder folder_;
  const std::string image_ = folder_.WriteFile("build.bin", ExampleImage(3000));
};

TEST_F(UploadWithApplicationRecordTest, FlashesTheBoardThatKnowsTheRecord) {
  SimulatedBoard board({"--identification", "TRK5|TRK5-APPLICATION|2.1|"});
  const Outcome outcome = Run(board, {"TRK5", "TRK5-APPLICATION", "2.1"});
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_EQ(outcome.error_output, "");
  EXPECT_TRUE(board.Flash() == ExampleImage(3000)) << "the board holds another image";
  EXPECT_THAT(board.Trace(), HasSubstr("# application started"));
}

TEST_F(UploadWithApplicationRecordTest, TellsTheRecordInItsOrder) {
  SimulatedBoard board({"--identification", "TRK5|TRK5-APPLICATION|2.1|"});
  const Outcome outcome = Run(board, {"TRK5-APPLICATION", "TRK5", "2.1"});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output,
            "upload_with_application_record: !!! YModem transmit failed. Exiting\n");
  EXPECT_FALSE(board.HasFlash());
}

TEST_F(UploadWithApplicationRecordTest, TakesTextsOf104Characters) {
  const std::string longest(102, 'x');
  SimulatedBoard board({"--identification", longest + "|a|b|"});
  const Outcome outcome = Run(board, {longest, "a", "b"});
  EXPECT_EQ(outcome.exit_status, 0) << outcome.error_output;
  EXPECT_TRUE(board.Flash() == ExampleImage(3000)) << "the board holds another image";
}

TEST_F(UploadWithApplicationRecordTest, TellsThatTextsOf105CharactersAreTooLong) {
  const std::string too_long(103, 'x');
  SimulatedBoard board({"--identification", too_long + "|a|b|"});
  const Outcome outcome = Run(board, {too_long, "a", "b"});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output,
            "upload_with_application_record: Exceed size limit detected. Exiting\n");
  EXPECT_FALSE(board.HasFlash());
}

TEST_F(UploadWithApplicationRecordTest, AMissingTextGetsTheUsage) {
  SimulatedBoard board({"--board", "tv"});
  const Outcome outcome = Run(board, {"TRK5", "TRK5-APPLICATION"});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output,
            "Usage: upload_with_application_record DEVICE BAUD-RATE IMAGE TEXT1 TEXT2 TEXT3\n");
}

TEST_F(UploadWithApplicationRecordTest, ARateThatIsNotSupportedIsAnError) {
  SimulatedBoard board({"--board", "tv"});
  const Outcome outcome = RunExample(
      {KVO_UPLOAD_WITH_APPLICATION_RECORD, board.Path(), "4800", image_, "TRK5", "A", "1"});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.error_output,
            "upload_with_application_record: Baud rate not supported : 4800\n");
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
