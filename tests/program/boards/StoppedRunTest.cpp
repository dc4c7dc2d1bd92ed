// Runs that end by a signal, and processes of theirs that die or hang: what the boards get, what
// becomes of their ports, and what is told.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <string>
#include <utility>

#include "program/boards/BoardsProgram.h"

namespace kvo::bootloadertms::testing {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using std::chrono::steady_clock;
using ::testing::HasSubstr;

// A board with settings on its line that no program would choose.
class OddBoard : public PlayedBoard {
 public:
  void ExpectPortGivenBack() const { port_.ExpectGivenBack(); }

 private:
  const PortAsItWas port_{Path()};
};

// A place in a run.
struct Stage {
  const char* name;
  void (*reach)(const PlayedBoard& board);
  bool in_transfer;
  const char* told;  // in the message
};

void PrintTo(const Stage& stage, std::ostream* out) { *out << stage.name; }

const Stage kPing{"Ping", [](const PlayedBoard& board) { board.Gets(1); }, false, ""};
const Stage kWaitForC{"WaitForC", [](const PlayedBoard& board) { board.GetsTheReceiveCommand(); },
                      true, ""};
const Stage kPacketZero{"PacketZero",
                        [](const PlayedBoard& board) {
                          ASSERT_NO_FATAL_FAILURE(board.GetsTheReceiveCommand());
                          board.Terminal().Send("C");
                          board.Gets(133);
                        },
                        true, ""};
const Stage kBlock{"Block", [](const PlayedBoard& board) { board.GetsABlockAfter(1); }, true,
                   "block 2 of 3"};
const Stage kEnd{"End",
                 [](const PlayedBoard& board) {
                   ASSERT_NO_FATAL_FAILURE(board.GetsABlockAfter(2));
                   board.Terminal().Send("\x06");
                   board.Gets(1);
                 },
                 true, "block 3 of 3"};
const Stage kClosing{"ClosingPacket",
                     [](const PlayedBoard& board) {
                       ASSERT_NO_FATAL_FAILURE(kEnd.reach(board));
                       board.Terminal().Send(
                           "\x06"
                           "C");
                       board.Gets(133);
                     },
                     true, "block 3 of 3"};
const Stage kVerdict{"Verdict",
                     [](const PlayedBoard& board) {
                       ASSERT_NO_FATAL_FAILURE(kClosing.reach(board));
                       board.Terminal().Send("\x06");
                       // Nothing is sent that would tell that it was read.
                       board.Terminal().WaitUntilRead();
                     },
                     true, "block 3 of 3"};
const Stage kStart{"Start",
                   [](const PlayedBoard& board) {
                     ASSERT_NO_FATAL_FAILURE(kVerdict.reach(board));
                     board.Terminal().Send("O");
                     ASSERT_EQ(board.Terminal().Receive(1), "6");
                   },
                   false, ""};

class StoppedRunTest : public ::testing::Test {
 protected:
  // Waits for answers as good as indefinitely.
  void RunUpTo(const Stage& stage, const std::vector<std::string>& options = {},
               const std::vector<std::string>& other_ports = {}) {
    program_ = StartBoards(
        std::vector<std::string>{"flash", "--json", "--no-switch", "--answer-timeout", "25000"} +
        options + std::vector<std::string>{image_, board_.Path()} + other_ports);
    stage.reach(board_);
  }

  pid_t Worker() const { return WorkerOf(*program_, board_.Path()); }

  const TemporaryFolder folder_;
  const std::string image_ = folder_.WriteFile("fw_tv.bin", ImageOf(2548));
  OddBoard board_;
  std::unique_ptr<RunningProgram> program_;
};

class InterruptedRun : public StoppedRunTest,
                       public ::testing::WithParamInterface<std::tuple<int, Stage>> {};

TEST_P(InterruptedRun, EndsTheTransferGivesBackThePortAndTellsWhere) {
  const auto& [signal, stage] = GetParam();
  ASSERT_NO_FATAL_FAILURE(RunUpTo(stage, {"--attempts", "3"}));
  program_->Signal(signal);
  const Report report = ReportOf(*program_);
  EXPECT_EQ(report.exit_status, 128 + signal);
  EXPECT_EQ(board_.Rest(), stage.in_transfer ? kCanCan : "");
  board_.ExpectPortGivenBack();
  const Json finished = report.Only("finished");
  EXPECT_THAT(finished, FailedBy("interrupted"));
  EXPECT_THAT(finished, HasFields(Json{{"attempts", 1}}));
  EXPECT_THAT(finished.value("message", ""), HasSubstr(stage.told));
  EXPECT_THAT(report.Only("summary"), HasFields(Json{{"flashed", 0}, {"failed", 1}}));
}

INSTANTIATE_TEST_SUITE_P(StoppedRunTest, InterruptedRun,
                         ::testing::Combine(::testing::Values(SIGINT, SIGTERM, SIGHUP),
                                            ::testing::Values(kPing, kWaitForC, kPacketZero, kBlock,
                                                              kEnd, kClosing, kVerdict, kStart)),
                         [](const auto& row) {
                           return std::get<1>(row.param).name + "Sig"s +
                                  ::sigabbrev_np(std::get<0>(row.param));
                         });

TEST_F(StoppedRunTest, AnInterruptBeforeTheBootloaderAnswersSendsNothingMore) {
  program_ = StartBoards({"flash", "--json", image_, board_.Path()});
  ASSERT_NO_FATAL_FAILURE(board_.Gets(1));
  program_->Signal(SIGINT);
  const Report report = ReportOf(*program_);
  EXPECT_EQ(report.exit_status, 128 + SIGINT);
  EXPECT_THAT(report.Only("finished"), FailedBy("interrupted"));
  EXPECT_THAT(board_.Rest(), ::testing::Not(HasSubstr("\x18")));
  board_.ExpectPortGivenBack();
}

TEST_F(StoppedRunTest, AnInterruptFromTheKeyboardWhichReachesAllProcessesIsTheSame) {
  program_ =
      StartBoards(kTransferAlone + std::vector<std::string>{image_, board_.Path()}, {"setsid"});
  ASSERT_NO_FATAL_FAILURE(board_.GetsABlockAfter(0));
  ::kill(-program_->Id(), SIGINT);
  const Report report = ReportOf(*program_);
  EXPECT_EQ(report.exit_status, 128 + SIGINT);
  EXPECT_THAT(report.Only("finished"), FailedBy("interrupted"));
  EXPECT_EQ(board_.Rest(), kCanCan);
  board_.ExpectPortGivenBack();
}

TEST_F(StoppedRunTest, AnInterruptReachesBoardsThatWaitForTheirTurn) {
  const OddBoard waiting;
  program_ = StartBoards(kTransferAlone + std::vector<std::string>{"--jobs", "1", image_,
                                                                   board_.Path(), waiting.Path()});
  ASSERT_NO_FATAL_FAILURE(board_.GetsTheReceiveCommand());
  program_->Signal(SIGINT);
  const Report report = ReportOf(*program_);
  EXPECT_EQ(report.exit_status, 128 + SIGINT);
  EXPECT_THAT(report.Only("finished", waiting.Path()), FailedBy("interrupted"));
  EXPECT_TRUE(report.All("progress", waiting.Path()).empty());
  EXPECT_EQ(waiting.Rest(), "");
  waiting.ExpectPortGivenBack();
  EXPECT_EQ(board_.Rest(), kCanCan);
}

TEST_F(StoppedRunTest, AnInterruptLeavesThoseThatWereFlashedFlashed) {
  const SimulatedBoard good({"--state", "bootloader"});
  program_ =
      StartBoards(kTransferAlone + std::vector<std::string>{image_, board_.Path(), good.Path()});
  EXPECT_TRUE(program_->WaitUntil(
      [this] { return program_->Output().find("flashed") != std::string::npos; }, 60s));
  program_->Signal(SIGTERM);
  const Report report = ReportOf(*program_);
  EXPECT_EQ(report.exit_status, 128 + SIGTERM);
  EXPECT_THAT(report.Only("finished", good.Path()), HasFields(Json{{"result", "flashed"}}));
  EXPECT_THAT(report.Only("summary"),
              HasFields(Json{{"boards", 2}, {"flashed", 1}, {"failed", 1}}));
}

TEST_F(StoppedRunTest, InfoEndsByTheSignalToo) {
  program_ = StartBoards({"info", "--json", board_.Path()});
  ASSERT_NO_FATAL_FAILURE(board_.Gets(1));
  program_->Signal(SIGINT);
  EXPECT_EQ(ReportOf(*program_).exit_status, 128 + SIGINT);
  EXPECT_THAT(board_.Rest(), ::testing::Not(HasSubstr("\x18")));
  board_.ExpectPortGivenBack();
}

// Of a report that nobody reads, by a program that was started to ignore one signal.
class UnreadReport : public StoppedRunTest {
 protected:
  UnreadReport() {
    const std::string fifo = folder_.Path("fifo");
    ::mkfifo(fifo.c_str(), 0600);
    reader_ = ::open(fifo.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    while (::write(reader_, "x", 1) == 1) {
    }
    program_ = StartBoards(kTransferAlone + std::vector<std::string>{image_, board_.Path()},
                           {"/bin/sh", "-c", R"(trap '' HUP; exec "$@" >"$0")", fifo});
  }
  ~UnreadReport() override { GoAway(); }

  void GoAway() {
    if (reader_ != -1) {
      ::close(std::exchange(reader_, -1));
    }
  }

  // The first interrupt ends the transfer.
  void InterruptTheTransfer() {
    ASSERT_NO_FATAL_FAILURE(board_.GetsTheReceiveCommand());
    program_->Signal(SIGINT);
    EXPECT_EQ(board_.Terminal().Receive(2), kCanCan);
  }

  void ExpectEndBefore(steady_clock::time_point limit) {
    EXPECT_EQ(program_->Wait(), 128 + SIGTERM);
    EXPECT_LT(steady_clock::now(), limit);
  }

 private:
  int reader_;
};

TEST_F(UnreadReport, KeepsNoBoardWaitingAndEndsWhenItsReaderGoes) {
  ASSERT_NO_FATAL_FAILURE(board_.GetsABlockAfter(2));
  ASSERT_NO_FATAL_FAILURE(board_.TakesTheLastBlock());
  EXPECT_TRUE(program_->WaitUntil([this] { return ChildrenOf(program_->Id()).empty(); }, 60s));
  GoAway();
  EXPECT_EQ(program_->Wait(), 0);
  board_.ExpectPortGivenBack();
}

TEST_F(UnreadReport, EndsByTheSecondInterruptThatComesAfterTheWork) {
  ASSERT_NO_FATAL_FAILURE(InterruptTheTransfer());
  EXPECT_TRUE(program_->WaitUntil([this] { return ChildrenOf(program_->Id()).empty(); }, 60s));
  program_->Signal(SIGHUP);
  const auto second = steady_clock::now();
  program_->Signal(SIGTERM);
  ExpectEndBefore(second + 10s);
}

TEST_F(UnreadReport, EndsByTheSecondInterruptThatComesMeanwhile) {
  ASSERT_NO_FATAL_FAILURE(board_.GetsTheReceiveCommand());
  ::kill(Worker(), SIGSTOP);
  const auto begin = steady_clock::now();
  program_->Signal(SIGINT);
  program_->Signal(SIGTERM);
  ExpectEndBefore(begin + 10s);
}

// A worker that hangs doesn't see the first interrupt.
TEST_F(StoppedRunTest, TheSecondInterruptEndsAtOnce) {
  ASSERT_NO_FATAL_FAILURE(RunUpTo(kBlock));
  const pid_t worker = Worker();
  ASSERT_NE(worker, -1);
  ::kill(worker, SIGSTOP);
  const auto begin = steady_clock::now();
  program_->Signal(SIGINT);
  program_->Signal(SIGTERM);  // the same might count as one
  EXPECT_EQ(program_->Wait(), 128 + SIGTERM);
  EXPECT_LT(steady_clock::now() - begin, 1s);
  EXPECT_TRUE(WaitUntilGone(worker));
}

class HangingWorker : public StoppedRunTest {
 protected:
  void HangIn(const Stage& stage, const std::vector<std::string>& options = {}) {
    ASSERT_NO_FATAL_FAILURE(RunUpTo(stage, options));
    worker_ = Worker();
    ASSERT_NE(worker_, -1);
    ::kill(worker_, SIGSTOP);
  }
  void ExpectEndOf(const Report& report, const std::string& reason, const std::string& rest) {
    EXPECT_THAT(report.Only("finished", board_.Path()), FailedBy(reason));
    EXPECT_EQ(board_.Rest(), rest);
    EXPECT_TRUE(WaitUntilGone(worker_));
    board_.ExpectPortGivenBack();
  }
  pid_t worker_ = -1;
};

TEST_F(HangingWorker, IsEndedByAnInterrupt) {
  ASSERT_NO_FATAL_FAILURE(HangIn(kBlock));
  program_->Signal(SIGTERM);
  const Report report = ReportOf(*program_);
  EXPECT_EQ(report.exit_status, 128 + SIGTERM);
  ExpectEndOf(report, "interrupted", kCanCan);
}

TEST_F(HangingWorker, IsEndedByItsDeadline) {
  ASSERT_NO_FATAL_FAILURE(HangIn(kBlock, {"--deadline", "3"}));
  const Report report = ReportOf(*program_);
  EXPECT_EQ(report.exit_status, 1);
  ExpectEndOf(report, "deadline", kCanCan);
}

TEST_F(StoppedRunTest, ABoardWhoseWorkerIsKilledIsToldByTheBlockThatItHadToAnswer) {
  ASSERT_NO_FATAL_FAILURE(RunUpTo(kBlock));
  ::kill(Worker(), SIGKILL);
  EXPECT_THAT(ReportOf(*program_).Only("finished", board_.Path()).value("message", ""),
              HasSubstr(kBlock.told));
}

// By somebody who ends the worker alone.
class SignalledWorker : public StoppedRunTest,
                        public ::testing::WithParamInterface<std::tuple<int, Stage>> {};

TEST_P(SignalledWorker, IsToldAndHarmsNoOther) {
  const auto& [signal, stage] = GetParam();
  const SimulatedBoard good({"--state", "bootloader", "--fault", "late=1500@start"});
  ASSERT_NO_FATAL_FAILURE(RunUpTo(stage, {"--attempts", "3"}, {good.Path()}));
  const pid_t worker = Worker();
  ASSERT_NE(worker, -1);
  ::kill(worker, signal);
  const Report report = ReportOf(*program_);
  EXPECT_EQ(report.exit_status, 1);
  EXPECT_THAT(report.Only("finished", board_.Path()), FailedBy("crashed"));
  EXPECT_THAT(report.Only("finished", good.Path()), HasFields(Json{{"result", "flashed"}}));
  EXPECT_EQ(good.Flash(), ReadFile(image_));
  EXPECT_EQ(board_.Rest(), stage.in_transfer ? kCanCan : "");
  board_.ExpectPortGivenBack();
  EXPECT_TRUE(WaitUntilGone(worker));
}

INSTANTIATE_TEST_SUITE_P(StoppedRunTest, SignalledWorker,
                         ::testing::Combine(::testing::Values(SIGTERM),
                                            ::testing::Values(kPing, kWaitForC, kPacketZero, kBlock,
                                                              kEnd, kClosing, kVerdict, kStart)),
                         [](const auto& row) {
                           return std::get<1>(row.param).name + "Sig"s +
                                  ::sigabbrev_np(std::get<0>(row.param));
                         });

TEST_F(StoppedRunTest, AWorkerThatIsStoppedAndGoesOnFlashesItsBoard) {
  ASSERT_NO_FATAL_FAILURE(RunUpTo(kBlock, {"--no-start"}));
  const pid_t worker = Worker();
  ::kill(worker, SIGSTOP);
  board_.Terminal().Send("\x06");
  ::kill(worker, SIGCONT);
  ASSERT_NO_FATAL_FAILURE(board_.Gets(1029));
  ASSERT_NO_FATAL_FAILURE(board_.TakesTheLastBlock());
  EXPECT_EQ(ReportOf(*program_).exit_status, 0);
  EXPECT_EQ(board_.Rest(), "");
  board_.ExpectPortGivenBack();
}

// The bytes of a terminal that nobody reads at its far end go nowhere.
TEST_F(StoppedRunTest, ALineThatTakesNoBytesHoldsUpNoInterrupt) {
  const std::string image = folder_.WriteFile("long_tv.bin", ImageOf(200000));
  program_ = StartBoards(kTransferAlone + std::vector<std::string>{image, board_.Path()});
  ASSERT_NO_FATAL_FAILURE(board_.GetsTheReceiveCommand());
  // An answer to packet 0, to each block that comes, and nobody who takes them.
  board_.Terminal().Send(
      "C\x06"
      "C" +
      std::string(150, '\x06'));
  EXPECT_TRUE(program_->WaitUntil(
      [this] { return program_->Output().find("progress") != std::string::npos; }, 60s));
  program_->Signal(SIGINT);
  EXPECT_EQ(ReportOf(*program_).exit_status, 128 + SIGINT);
  board_.ExpectPortGivenBack();
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
