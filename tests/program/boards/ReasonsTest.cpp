// Each way in which a board fails, told by its reason, and what becomes of the good board beside
// it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <filesystem>
#include <string>

#include "program/boards/BoardsProgram.h"

namespace kvo::bootloadertms::testing {
namespace {

using ::testing::AnyOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;

constexpr int kNoBlock = -1;  // none is told

struct FaultRow {
  const char* name;
  std::vector<std::string> board;
  const char* reason;
  int block;
  bool image_is_kept = false;
  std::vector<std::string> options = {"--no-start"};
};

void PrintTo(const FaultRow& row, std::ostream* out) { *out << row.name; }

class BoardThatFails : public ::testing::TestWithParam<FaultRow> {};

TEST_P(BoardThatFails, IsToldByItsReasonAndDisturbsNoOther) {
  const FaultRow& row = GetParam();
  const TemporaryFolder folder;
  const std::string image = ImageOf(2548);
  SimulatedBoard good({"--state", "bootloader"});
  SimulatedBoard bad(std::vector<std::string>{"--state", "bootloader"} + row.board);
  const Report report = RunBoards(
      std::vector<std::string>{"flash", "--json", "--no-switch", "--answer-timeout", "1000"} +
      row.options +
      std::vector<std::string>{folder.WriteFile("fw_tv.bin", image), good.Path(), bad.Path()});
  EXPECT_EQ(report.exit_status, 1);
  EXPECT_EQ(report.error_output, "");
  const Json finished = report.Only("finished", bad.Path());
  EXPECT_THAT(finished, FailedBy(row.reason));
  EXPECT_THAT(finished, HasFields(Json{{"result", "failed"}, {"attempts", 1}}));
  if (row.block != kNoBlock) {
    EXPECT_THAT(finished, HasFields(Json{{"block", row.block}, {"blocks", 3}}));
  }
  if (row.block > 0) {
    EXPECT_THAT(finished.value("message", ""),
                HasSubstr("block " + std::to_string(row.block) +
                          " of 3: the board has no valid application, flash it again"));
  }
  EXPECT_EQ(bad.HasFlash(), row.image_is_kept);
  EXPECT_THAT(report.Only("finished", good.Path()),
              HasFields(Json{{"result", "flashed"}, {"attempts", 1}}));
  EXPECT_TRUE(good.Flash() == image) << "the good board holds another image";
  EXPECT_THAT(report.Only("summary"),
              HasFields(Json{{"boards", 2}, {"flashed", 1}, {"failed", 1}}));
}

FaultRow Fault(const char* name, const char* fault, const char* reason, int block) {
  return {name, {"--fault", fault}, reason, block};
}
FaultRow FaultAtTheVerdict(const char* name, const char* fault, const char* reason, int block) {
  return {name, {"--fault", fault}, reason, block, true};
}

std::string NameOfFault(const ::testing::TestParamInfo<FaultRow>& row) { return row.param.name; }

INSTANTIATE_TEST_SUITE_P(
    BeforeTheImage, BoardThatFails,
    ::testing::Values(FaultRow{"NoPingAnswered", {"--ping-silence", "1000"}, "silent", kNoBlock},
                      FaultRow{"AnotherKind", {"--board", "wk"}, "refused", kNoBlock},
                      Fault("FAtTheStart", "byte=46@start", "refused", kNoBlock),
                      Fault("NakToPacketZero", "nak@packet0", "refused", kNoBlock),
                      Fault("CanToPacketZero", "can@packet0", "refused", kNoBlock),
                      Fault("HangUpAtTheStart", "hangup@start", "lost", kNoBlock),
                      Fault("OtherByteToPacketZero", "byte=5a@packet0", "broken", 0),
                      Fault("SilenceAtPacketZero", "silence@packet0", "broken", 0),
                      Fault("AskingTwiceForPacketZero", "c@packet0/2", "broken", 0)),
    NameOfFault);

INSTANTIATE_TEST_SUITE_P(InTheImage, BoardThatFails,
                         ::testing::Values(Fault("Can", "can@block:2", "broken", 2),
                                           Fault("OtherByte", "byte=5a@block:1", "broken", 1),
                                           Fault("Silence", "silence@block:3", "broken", 3),
                                           Fault("HangUp", "hangup@block:2", "lost", 2),
                                           Fault("HangUpAtPacketZero", "hangup@packet0", "lost",
                                                 0)),
                         NameOfFault);

INSTANTIATE_TEST_SUITE_P(
    AfterTheImage, BoardThatFails,
    ::testing::Values(
        Fault("CanToEndOfFile", "can@eot", "broken", 3),
        Fault("AskingAtEndOfFile", "c@eot", "broken", 3),
        Fault("SilenceAtEndOfFile", "silence@eot", "broken", 3),
        Fault("HangUpAtEndOfFile", "hangup@eot", "lost", 3),
        Fault("HangUpAtTheClosingPacket", "hangup@closing", "lost", 3),
        Fault("CanToTheClosingPacket", "can@closing", "broken", 3),
        Fault("AWrongAnswerToTheClosingPacket", "byte=55@closing/always", "broken", 3),
        FaultAtTheVerdict("NoVerdict", "silence@verdict", "broken", 3),
        FaultAtTheVerdict("BadImage", "byte=45@verdict", "rejected", kNoBlock),
        FaultAtTheVerdict("ZeroByteAsVerdict", "byte=00@verdict", "rejected", kNoBlock),
        FaultAtTheVerdict("NakAsVerdict", "nak@verdict", "rejected", kNoBlock),
        FaultRow{
            "NoApplication", {"--answer", "bootloader:6="}, "not-started", kNoBlock, true, {}}),
    NameOfFault);

const std::vector<std::string> kShortDeadline = {"--no-start", "--deadline", "5"};

INSTANTIATE_TEST_SUITE_P(UntilItsDeadline, BoardThatFails,
                         ::testing::Values(FaultRow{"NeverAsksForTheImage",
                                                    {"--answer", "bootloader:1="},
                                                    "deadline",
                                                    kNoBlock,
                                                    false,
                                                    kShortDeadline},
                                           FaultRow{"AsksForABlockAgainAndAgain",
                                                    {"--fault", "nak@block:2/always"},
                                                    "deadline",
                                                    2,
                                                    false,
                                                    kShortDeadline}),
                         NameOfFault);

class PortThatFails : public ::testing::Test {
 protected:
  // A good board beside it is flashed; the message of the failure.
  std::string MessageOfFailure(const std::string& port, const std::string& reason,
                               const std::vector<std::string>& run_by = {}) const {
    const SimulatedBoard good({"--state", "bootloader"});
    std::filesystem::permissions(good.Path(), std::filesystem::perms(0666));
    const Report report =
        RunBoards(kTransferAlone + std::vector<std::string>{image_, port, good.Path()}, run_by);
    EXPECT_EQ(report.exit_status, 1);
    const Json finished = report.Only("finished", port);
    EXPECT_THAT(finished, FailedBy(reason));
    EXPECT_THAT(report.Only("finished", good.Path()), HasFields(Json{{"result", "flashed"}}));
    EXPECT_EQ(good.Flash(), ReadFile(image_));
    return finished.value("message", "");
  }

  const TemporaryFolder folder_;
  const std::string image_ = folder_.WriteFile("fw_tv.bin", ImageOf(1500));
};

TEST_F(PortThatFails, IsMissing) { MessageOfFailure(folder_.Path("none"), "missing"); }

TEST_F(PortThatFails, IsADanglingLink) {
  std::filesystem::create_symlink(folder_.Path("none"), folder_.Path("link"));
  MessageOfFailure(folder_.Path("link"), "missing");
}

TEST_F(PortThatFails, IsNoTerminal) {
  MessageOfFailure("/dev/null", "not-a-terminal");
  MessageOfFailure(folder_.WriteFile("file", "content"), "not-a-terminal");
  EXPECT_EQ(ReadFile(folder_.Path("file")), "content");
  MessageOfFailure(folder_.Path("."), "not-a-terminal");
}

TEST_F(PortThatFails, HasANameThatAShellWouldRun) {
  MessageOfFailure("/dev/x;touch " + folder_.Path("touched"), "missing");
  EXPECT_FALSE(std::filesystem::exists(folder_.Path("touched")));
}

class BusyPort : public PortThatFails,
                 public ::testing::WithParamInterface<std::vector<std::string>> {
 protected:
  const PlayedBoard board_{};
  RunningProgram holder_{GetParam() + std::vector<std::string>{board_.Path()}};
};

TEST_P(BusyPort, NamesItsHolderAndGetsNoByte) {
  ASSERT_EQ(holder_.FirstLine(), "held");
  EXPECT_THAT(MessageOfFailure(board_.Path(), "busy"),
              HasSubstr("in use by sleep (process " + std::to_string(holder_.Id()) + ")"));
  EXPECT_EQ(board_.Rest(), "");
}

TEST_P(BusyPort, FailsADryRun) {
  ASSERT_EQ(holder_.FirstLine(), "held");
  const Report report = RunBoards({"flash", "--json", "--dry-run", image_, board_.Path()});
  EXPECT_EQ(report.exit_status, 1);
  EXPECT_THAT(report.Only("finished"), FailedBy("busy"));
}

TEST_P(BusyPort, IsNotAskedWhatItIs) {
  ASSERT_EQ(holder_.FirstLine(), "held");
  const Report report = RunBoards({"info", "--json", board_.Path()});
  EXPECT_EQ(report.exit_status, 1);
  const Json info = report.Only("info", board_.Path());
  EXPECT_THAT(info, FailedBy("busy"));
  EXPECT_FALSE(info.contains("state"));
  EXPECT_EQ(board_.Rest(), "");
}

INSTANTIATE_TEST_SUITE_P(
    Held, BusyPort,
    ::testing::Values(std::vector<std::string>{"sh", "-c",
                                               R"(exec 3<>"$0"; echo held; exec sleep 1000)"},
                      std::vector<std::string>{
                          "sh", "-c", R"(exec 3<"$0"; flock 3; echo held; exec sleep 1000)"}),
    [](const auto& row) { return row.index == 0 ? "WithoutALock" : "ByALock"; });

// Superusers may open what is closed to others, so these run as somebody else.
class PortOfAnotherUser : public PortThatFails {
 protected:
  void SetUp() override {
    std::filesystem::permissions(folder_.Path("."), std::filesystem::perms(0755));
    if (RunBoards({"--version"}, run_by_).exit_status != 0) {
      GTEST_SKIP() << "nobody but the superuser may run the program from where it is";
    }
  }

  const std::vector<std::string> run_by_ = AsAnotherUser();
  const PlayedBoard board_{};
};

TEST_F(PortOfAnotherUser, IsAMatterOfPermission) {
  std::filesystem::permissions(board_.Path(), std::filesystem::perms(0));
  MessageOfFailure(board_.Path(), "permission", run_by_);
}

TEST_F(PortOfAnotherUser, IsClosedToOthersWhileItIsFlashed) {
  std::filesystem::permissions(board_.Path(), std::filesystem::perms(0666));
  const auto first =
      StartBoards(kTransferAlone + std::vector<std::string>{image_, board_.Path()}, run_by_);
  ASSERT_NO_FATAL_FAILURE(board_.GetsTheReceiveCommand());
  const std::string message = MessageOfFailure(board_.Path(), "busy", run_by_);
  EXPECT_THAT(message,
              AnyOf(EndsWith("(process " + std::to_string(first->Id()) + ")"),
                    EndsWith("(process " + std::to_string(WorkerOf(*first, board_.Path())) + ")")));
  EXPECT_EQ(board_.Rest(), "");
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
