// Watching with real folders and processes, whose work is made up. Links to devices that are there
// anyway stand for ports.
#include "boards/Watch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "boards/StopHandler.h"
#include "support/FakeTime.h"
#include "support/Files.h"

namespace kvo::boards::testing {
namespace {

using namespace std::chrono_literals;
using bootloadertms::testing::FakeTime;
using bootloadertms::testing::TemporaryFolder;
namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

Event EndOf(Outcome outcome, Reason reason = {}) {
  Event event;
  event.kind = EventKind::kFinished;
  event.outcome = outcome;
  event.reason = reason;
  return event;
}

[[noreturn]] void WaitToBeEnded() {
  for (;;) {
    ::pause();
  }
}

class WatchTest : public ::testing::Test, public Workers, public Display {
 protected:
  using Work = std::function<Event(int attempt)>;

  WatchTest() {
    fs::create_directories(At("ports"));
    plan_.command_line.action = Action::kWatch;
    plan_.command_line.patterns = {folder_.Path("ports/*")};
  }

  fs::path At(const std::string& name) const { return folder_.Path(name); }
  void Link(const std::string& port, const std::string& device = "/dev/null") const {
    fs::create_symlink(device, At("ports/" + port));
  }
  void Unlink(const std::string& port) const { fs::remove(At("ports/" + port)); }

  // What is to be done when this line has been added to the story.
  void On(const std::string& line, const std::function<void()>& action) { actions_[line] = action; }
  static void Interrupt() { std::raise(SIGINT); }
  static void InterruptTwice() {
    std::raise(SIGINT);
    std::raise(SIGTERM);
  }

  // The result is the signal that ended it, or 0.
  int Run() {
    Watch watch(plan_, limits_, *this, *this);
    const int signal = watch.Run();
    totals_ = watch.GetTotals();
    was_in_haste_ = watch.IsInHaste();
    return signal;
  }

  void ExpectTotals(std::size_t flashed, std::size_t failed) const {
    EXPECT_EQ(totals_.boards, flashed + failed);
    EXPECT_EQ(totals_.good, flashed);
    EXPECT_EQ(totals_.failed, failed);
  }

  // By its worker or another's.
  void MakeFile(const std::string& name) const { folder_.WriteFile(name, ""); }
  void WaitForFile(const std::string& name) const {
    while (!fs::exists(At(name))) {
      std::this_thread::sleep_for(1ms);
    }
  }

  // In the worker's process.
  void Serve(const Assignment& assignment, int attempt, EventSender& events) override {
    const std::string port = NameOfPort(assignment.port.name);
    told_to_end_ = folder_.Path(port + " is told to end");
    std::signal(SIGTERM, [](int) {
      ::close(::creat(told_to_end_.c_str(), 0600));
      ::_exit(0);
    });
    if (!assignment.log_path.empty()) {
      ::close(::creat(assignment.log_path.c_str(), 0600));
    }
    if (before_opening_) {
      before_opening_();
    }
    Event ready;
    ready.kind = EventKind::kReady;
    events.SendWithDescriptor(ready, ::open(assignment.port.name.c_str(), O_RDWR));
    MakeFile(port + " is ready");
    if (events.WaitForGo()) {
      const auto work = works_.find(port);
      events.Send(work == works_.end() ? EndOf(Outcome::kFlashed) : work->second(attempt));
    }
  }
  void GiveBack(const Event& /*ready*/, int /*descriptor*/, bool /*in_transfer*/) override {}

  void Show(const BoardStatus& board, Change change) override {
    Note(NameOfPort(board.port) + " " + TextOf(board, change));
  }
  void Announce(const std::string& text) override { Note(text); }
  void Finish(const Totals& /*totals*/) override {}

  void Note(const std::string& line) {
    story_.push_back(line);
    const auto action = actions_.find(line);
    if (action != actions_.end()) {
      const std::function<void()> once = action->second;
      actions_.erase(action);
      once();
    }
  }

  static std::string NameOfPort(const std::string& path) { return fs::path(path).filename(); }

  static std::string TextOf(const BoardStatus& board, Change change) {
    switch (change) {
      case Change::kCame:
        return "came";
      case Change::kAttempt:
        return "attempt " + std::to_string(board.attempt);
      case Change::kEnd:
        return IsGood(*board.end) ? "flashed" : std::string(NameOf(board.end->reason));
      case Change::kGone:
        return "gone";
      default:
        return "other";
    }
  }

  static inline std::string told_to_end_;  // a file's path

  TemporaryFolder folder_;
  Plan plan_;
  Limits limits_;
  std::map<std::string, Work> works_;
  std::function<void()> before_opening_;
  std::map<std::string, std::function<void()>> actions_;
  Lines story_;
  Totals totals_;
  bool was_in_haste_ = false;
};

TEST_F(WatchTest, EachPortIsServedOncePerComing) {
  Link("a");
  On("a flashed", [this] { Link("b", "/dev/zero"); });
  On("b flashed", [this] { Unlink("a"); });
  On("a gone", [this] {
    Link("a");
    On("a flashed", Interrupt);
  });
  EXPECT_EQ(Run(), SIGINT);
  EXPECT_EQ(story_, (Lines{"a came", "a attempt 1", "a flashed", "b came", "b attempt 1",
                           "b flashed", "a gone", "a came", "a attempt 1", "a flashed"}));
  ExpectTotals(3, 0);
}

TEST_F(WatchTest, ANameThatADeviceInWorkGetsIsNoPortOfItsOwn) {
  Link("a");
  works_["a"] = [this](int) -> Event {
    Unlink("a");
    Link("b");
    Link("c", "/dev/zero");
    WaitToBeEnded();
  };
  On("c flashed", InterruptTwice);
  EXPECT_EQ(Run(), SIGTERM);
  EXPECT_FALSE(was_in_haste_);
  EXPECT_EQ(std::ranges::count(story_, "b came"), 0);
}

TEST_F(WatchTest, ADeviceInWorkIsNotBegunUnderAnotherNameWhenItsFirstComesAndGoesAgain) {
  Link("a");
  works_["a"] = [this](int) {
    Unlink("a");
    Link("a");
    Link("c", "/dev/zero");
    WaitForFile("c is ready");
    Link("b");
    Link("d", "/dev/full");
    WaitForFile("d is ready");
    Unlink("a");
    Link("e", "/dev/random");
    WaitForFile("e is ready");
    return EndOf(Outcome::kFlashed);
  };
  On("a flashed", InterruptTwice);
  EXPECT_EQ(Run(), SIGTERM);
  EXPECT_EQ(std::ranges::count(story_, "b came"), 0);
}

TEST_F(WatchTest, ADeviceWhoseFirstNameGoesBeforeItIsBegunIsServedUnderItsNext) {
  Link("a");
  Link("b");
  before_opening_ = [this] {
    if (fs::exists(At("ports/a"))) {
      Unlink("a");
      WaitToBeEnded();
    }
  };
  On("b flashed", Interrupt);
  EXPECT_EQ(Run(), SIGINT);
  EXPECT_EQ(story_, (Lines{"a came", "a gone", "b came", "b attempt 1", "b flashed"}));
  ExpectTotals(1, 0);
}

TEST_F(WatchTest, ADeviceThatGetsTheNumberOfOneThatIsLostIsServedOnceThatIsTold) {
  Link("a");
  works_["a"] = [this](int) {
    Unlink("a");
    Link("b");
    Link("c", "/dev/zero");
    WaitForFile("c is ready");
    return EndOf(Outcome::kFailed, Reason::kLost);
  };
  On("b flashed", Interrupt);
  EXPECT_EQ(Run(), SIGINT);
  EXPECT_EQ(std::ranges::count(story_, "b flashed"), 1);
  ExpectTotals(2, 1);
}

TEST_F(WatchTest, APortThatIsReplacedWhileItIsServedIsServedAgainAfterwards) {
  Link("a");
  works_["a"] = [this](int) {
    Unlink("a");
    Link("a");
    return EndOf(Outcome::kFailed, Reason::kLost);
  };
  On("a lost", [this] { works_.clear(); });
  plan_.command_line.count = 2;
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(story_, (Lines{"a came", "a attempt 1", "a lost", "a gone", "a came", "a attempt 1",
                           "a flashed"}));
  ExpectTotals(1, 1);
}

TEST_F(WatchTest, APortThatComesBackForTheNextAttemptIsNotServedOnceMore) {
  limits_.attempts = 2;
  Link("a");
  works_["a"] = [this](int attempt) {
    if (attempt == 2) {
      return EndOf(Outcome::kFlashed);
    }
    Unlink("a");
    Link("a");
    return EndOf(Outcome::kFailed, Reason::kLost);
  };
  On("a flashed", [this] { Link("b", "/dev/zero"); });
  On("b flashed", [this] { Unlink("a"); });
  On("a gone", Interrupt);
  EXPECT_EQ(Run(), SIGINT);
  EXPECT_EQ(story_, (Lines{"a came", "a attempt 1", "a attempt 2", "a flashed", "b came",
                           "b attempt 1", "b flashed", "a gone"}));
  ExpectTotals(2, 0);
}

TEST_F(WatchTest, APortThatGoesBeforeItIsBegunIsNotCountedAndLeavesNoEmptyLog) {
  Link("a");
  plan_.command_line.log_folder = folder_.Path("logs");
  fs::create_directories(At("logs"));
  before_opening_ = [this] {
    Unlink("a");
    WaitToBeEnded();
  };
  On("a gone", Interrupt);
  EXPECT_EQ(Run(), SIGINT);
  EXPECT_EQ(story_, (Lines{"a came", "a gone"}));
  ExpectTotals(0, 0);
  EXPECT_TRUE(fs::is_empty(At("logs")));
}

TEST_F(WatchTest, APortThatGoesWhileItIsOpenedIsGivenBackByItsWorker) {
  Link("a");
  before_opening_ = [this] {
    const StopsLater until_it_is_open;
    Unlink("a");
    std::this_thread::sleep_for(1s);  // longer than others may take
    MakeFile("given back");
  };
  On("a gone", Interrupt);
  EXPECT_EQ(Run(), SIGINT);
  EXPECT_TRUE(fs::exists(At("given back")));
}

TEST_F(WatchTest, TheFirstInterruptBeginsNoMoreBoardsAndFinishesThoseInWork) {
  limits_.jobs = 1;
  Link("a");
  works_["a"] = [this](int) {
    Link("b", "/dev/zero");
    WaitForFile("b is ready");
    ::kill(::getppid(), SIGINT);
    WaitForFile("b is told to end");
    Link("c", "/dev/full");
    WaitForFile("b is unplugged");
    return EndOf(Outcome::kFlashed);
  };
  On("b gone", [this] {
    Unlink("b");
    MakeFile("b is unplugged");
  });
  EXPECT_EQ(Run(), SIGINT);
  EXPECT_EQ(std::ranges::count(story_, "b gone"), 1);
  EXPECT_EQ(
      std::ranges::count(story_, "Finishing the boards in progress; a second interrupt stops them"),
      1);
  EXPECT_EQ(std::ranges::count(story_, "b attempt 1"), 0);
  EXPECT_EQ(std::ranges::count(story_, "c attempt 1"), 0);
  ExpectTotals(1, 0);
}

TEST_F(WatchTest, AThirdInterruptMakesHaste) {
  Link("a");
  works_["a"] = [](int) -> Event { WaitToBeEnded(); };
  On("a attempt 1", [] {
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
      std::raise(signal);
    }
  });
  EXPECT_EQ(Run(), SIGTERM);
  EXPECT_TRUE(was_in_haste_);
}

// As timeout(1) sends it, to the program and to its group.
TEST_F(WatchTest, TheSameSignalAtOnceAgainIsNoSecondInterrupt) {
  Link("a");
  works_["a"] = [this](int) {
    WaitForFile("interrupted twice");
    return EndOf(Outcome::kFlashed);
  };
  On("a attempt 1", Interrupt);
  On("Finishing the boards in progress; a second interrupt stops them", [this] {
    Interrupt();
    MakeFile("interrupted twice");
  });
  EXPECT_EQ(Run(), SIGINT);
  ExpectTotals(1, 0);
}

TEST_F(WatchTest, AResultWhosePortIsGoneStaysInViewUntilThePortIsBack) {
  Link("a");
  works_["a"] = [this](int) {
    Unlink("a");
    return EndOf(Outcome::kFailed, Reason::kLost);
  };
  On("a lost", [this] {
    works_.clear();
    Link("b", "/dev/zero");
  });
  On("b flashed", [this] {
    EXPECT_EQ(std::ranges::count(story_, "a gone"), 0);
    Link("a");
    On("a flashed", Interrupt);
  });
  EXPECT_EQ(Run(), SIGINT);
  EXPECT_EQ(story_, (Lines{"a came", "a attempt 1", "a lost", "b came", "b attempt 1", "b flashed",
                           "a gone", "a came", "a attempt 1", "a flashed"}));
}

// The worker has told it before the port was seen to be gone.
TEST_F(WatchTest, ALossIsInViewForTenSeconds) {
  FakeTime time([](std::chrono::nanoseconds asked) { return asked; });
  Link("a");
  works_["a"] = [](int) { return EndOf(Outcome::kFailed, Reason::kLost); };
  On("a lost", [this] {
    Unlink("a");
    Link("b", "/dev/zero");
  });
  On("b flashed", [this, &time] {
    time.Sleep(9999ms);
    Link("c", "/dev/full");
  });
  On("c flashed", [this, &time] {
    EXPECT_EQ(std::ranges::count(story_, "a gone"), 0);
    time.Sleep(1ms);
  });
  On("a gone", Interrupt);
  EXPECT_EQ(Run(), SIGINT);
  EXPECT_EQ(std::ranges::count(story_, "a gone"), 1);
}

}  // namespace
}  // namespace kvo::boards::testing
