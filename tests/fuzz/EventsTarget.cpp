// The supervisor of kvo-boards with workers that send anything, and all that is told of it.
//
// Input: how many boards (bits 0 and 1), attempts (bits 2 and 3), jobs (bit 4), what is done (bits
// 5 and 6), colour (bit 7); the deadline in tenths of a second, 0 for none (bit 7: at the input's
// end time passes, else all is interrupted); the screen's columns and rows; which displays there
// are, by bits. Then what happens, by the numbers in `Play::Next`.
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "boards/Supervisor.h"
#include "fuzz/FakeWorkers.h"
#include "fuzz/Fuzzing.h"
#include "fuzz/Papers.h"
#include "support/FakeTime.h"

namespace {

using namespace kvo::boards;
using namespace kvo::bootloadertms::testing;
using namespace std::chrono_literals;

constexpr std::uint64_t kBytes = 4000;

std::ptrdiff_t OpenDescriptors() {
  constexpr std::size_t kMost = 64;
  std::array<pollfd, kMost> all{};
  for (std::size_t descriptor = 0; descriptor < kMost; ++descriptor) {
    all.at(descriptor).fd = static_cast<int>(descriptor);
  }
  ::poll(all.data(), all.size(), 0);
  return std::ranges::count_if(all, [](const pollfd& one) { return one.revents != POLLNVAL; });
}

struct Settings {
  explicit Settings(FuzzInput& input)
      : choice(input.TakeByte()),
        time(input.TakeByte()),
        display{.task = std::array{Task::kFlash, Task::kDryRun, Task::kInfo, Task::kFlash}.at(
                    (choice >> 5U) % 4),
                .with_color = choice >= 128,
                .screen = {.columns = input.TakeByte() + 1U, .rows = input.TakeByte() + 1U},
                .which = input.TakeByte()} {}

  std::size_t Boards() const { return choice % 4U == 0 ? 1 : choice % 4U; }
  Limits GetLimits() const {
    return {.jobs = (choice >> 4U) & 1U, .attempts = 1 + (choice >> 2U) % 4};
  }
  std::chrono::milliseconds Deadline() const { return (time % 128) * 100ms; }
  bool EndsByTime() const { return time >= 128 && Deadline() != 0ms; }

  std::uint8_t choice;
  std::uint8_t time;
  DisplayOptions display;
};

// What a worker's messages have come to, and what the displays were shown of it.
struct Told {
  const FakeWorkers::Worker* begun = nullptr;  // the worker that serves this attempt
  int attempts = 0;
  std::optional<Event> finished;  // of this attempt
  bool may_have_failed = false;   // as another worker says: of the next attempt, or giving back
  std::optional<Clock::time_point> kill_by;
  const FakeWorkers::Worker* to_be_killed = nullptr;
  bool has_ended = false;
};

bool IsRepeatable(const Event& event) {
  return event.outcome == Outcome::kFailed &&
         (event.reason == Reason::kBroken || event.reason == Reason::kRejected ||
          event.reason == Reason::kDeadline || event.reason == Reason::kLost);
}

// The largest number there is for the largest that can be given.
template <typename Number>
Number Widened(Number number, Number largest) {
  return number == largest ? std::numeric_limits<Number>::max() : number;
}

// What happens in one run.
class Play {
 public:
  Play(const Settings& settings, FuzzInput& input, std::vector<Told>& told)
      : settings_(settings),
        input_(input),
        told_(told),
        workers_(settings.Boards(), [this](int timeout_ms) { Wait(timeout_ms); }) {}

  void RequireNobodyLeft() const {
    for (const FakeWorkers::Worker& worker : workers_.All()) {
      Require(worker.was_reaped || worker.was_killed, "each worker is waited for, or killed");
    }
  }

 private:
  // In the place of the supervisor's wait for news.
  void Wait(int timeout_ms) {
    for (std::size_t board = 0; board < told_.size(); ++board) {
      const Told& told = told_[board];
      Require(!told.kill_by || Clock::now() < *told.kill_by || told.to_be_killed->was_killed ||
                  told.to_be_killed->wait_status,
              "a worker that is to end ends");
    }
    try {
      while (Next(timeout_ms)) {
      }
    } catch (const EndOfRun&) {
      EndTheRun();
    }
    for (std::size_t board = 0; board < told_.size(); ++board) {
      NoteTheLimit(board);
    }
  }

  void NoteTheLimit(std::size_t board) {
    Told& told = told_[board];
    if (told.finished && !told.kill_by) {
      told.kill_by = Clock::now() + 2s;
      told.to_be_killed = workers_.LatestOf(board);
    }
  }

  void EndTheRun() {
    Require(++turns_after_the_end_ < 1000, "the run ends");
    if (turns_after_the_end_ == 1 && !settings_.EndsByTime()) {
      ::raise(SIGTERM);
    }
    Pass(1s);
  }

  // False when it is the supervisor's turn.
  bool Next(int timeout_ms) {
    const std::uint8_t choice = input_.TakeByte();
    board_ = choice / 16U % settings_.Boards();
    FakeWorkers::Worker& worker = *workers_.LatestOf(board_);
    switch (choice % 16U) {
      case 0:
        return SendEvent(worker);
      case 1:
        return SendAnything(worker, input_.TakeCountedText());
      case 2:
        worker.socket.Close();
        return true;
      case 3:
        worker.End(input_.TakeByte() << 8U);
        return true;
      case 4:
        worker.End(1 + input_.TakeByte() % 64);
        return true;
      case 5:
        worker.ignores_sigterm = true;
        return true;
      case 6:
        worker.hangs_in_the_system = true;
        return true;
      case 7:
        workers_.FailNextFork();
        return true;
      case 8:
        ::raise(std::array{SIGINT, SIGTERM, SIGHUP, SIGWINCH}.at(input_.TakeByte() % 4U));
        return true;
      case 9:
        return SendAgain(worker);
      case 10:
        Pass(input_.TakeByte() * 100ms);
        return false;
      case 11:
        Pass(std::chrono::milliseconds(timeout_ms));
        return false;
      default:
        return false;
    }
  }

  static bool SendAnything(FakeWorkers::Worker& worker, const std::string& bytes) {
    Send(worker, bytes, 0);
    if (bytes.empty()) {
      worker.socket.Close();  // as nothing tells an empty message from the end
    }
    return true;
  }

  static void Pass(std::chrono::milliseconds time) { FakeTime::Current()->Sleep(time); }

  bool SendEvent(FakeWorkers::Worker& worker) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();
    constexpr std::array kSeconds = {0.0,   0.5,   1e-9,      1e-300,     5e-324,
                                     1e300, -0.25, kInfinity, -kInfinity, kNoNumber};
    const std::uint8_t form = input_.TakeByte();
    Event event;
    event.kind = static_cast<EventKind>(input_.TakeByte());
    event.step = static_cast<Step>(input_.TakeByte());
    event.outcome = static_cast<Outcome>(input_.TakeByte());
    event.reason = static_cast<Reason>(input_.TakeByte());
    event.field = static_cast<Field>(input_.TakeByte());
    event.block = Widened<std::uint32_t>(input_.TakeByte(), 0xFF);
    event.blocks = Widened<std::uint32_t>(input_.TakeByte(), 0xFF);
    event.bytes_sent = Widened<std::uint64_t>(input_.TakeWord(), 0xFFFF);
    event.transfer_seconds = kSeconds.at(input_.TakeByte() % kSeconds.size());
    event.SetText(input_.TakeCountedText());
    event.text_length = (form & 4U) != 0 ? Event::kTextSize + 1 : event.text_length;
    std::string bytes(reinterpret_cast<const char*>(&event), sizeof event);
    bytes.resize(bytes.size() + ((form >> 3U) & 1U) - ((form >> 4U) & 1U));
    if (Send(worker, bytes, form % 4) && bytes.size() == sizeof event) {
      Note(event);
    }
    last_ = bytes;
    // What comes after it could be meant for the attempt that begins by it, or not.
    return event.kind != EventKind::kReady;
  }

  bool SendAgain(FakeWorkers::Worker& worker) {
    for (std::uint8_t times = input_.TakeByte(); times > 0; --times) {
      Event event;
      if (Send(worker, last_, 0) && last_.size() == sizeof event) {
        std::memcpy(&event, last_.data(), sizeof event);
        Note(event);
      }
    }
    return false;
  }

  static bool Send(const FakeWorkers::Worker& worker, std::string bytes, unsigned descriptors) {
    constexpr std::array<int, 3> kDescriptors = {0, 0, 0};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof kDescriptors)> attachment{};
    iovec piece{.iov_base = bytes.data(), .iov_len = bytes.size()};
    msghdr message{};
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    if (descriptors > 0) {
      message.msg_control = attachment.data();
      message.msg_controllen = CMSG_SPACE(descriptors * sizeof(int));
      cmsghdr* header = CMSG_FIRSTHDR(&message);
      header->cmsg_level = SOL_SOCKET;
      header->cmsg_type = SCM_RIGHTS;
      header->cmsg_len = CMSG_LEN(descriptors * sizeof(int));
      std::memcpy(CMSG_DATA(header), kDescriptors.data(), descriptors * sizeof(int));
    }
    return ::sendmsg(worker.socket.Get(), &message, MSG_NOSIGNAL | MSG_DONTWAIT) != -1;
  }

  void Note(const Event& event) {
    const bool is_valid = event.kind <= EventKind::kFinished && event.step <= Step::kAsking &&
                          event.outcome <= Outcome::kFailed && event.reason <= Reason::kCrashed &&
                          event.field <= Field::kApplicationInformation &&
                          event.text_length <= 1024;
    if (is_valid && event.kind == EventKind::kFinished) {
      NoteFinish(event, told_[board_]);
    }
  }

  void NoteFinish(const Event& event, Told& told) {
    const bool has_failed = event.outcome == Outcome::kFailed;
    const bool has_begun = told.begun != nullptr;
    const auto* const serves = has_begun ? told.begun : &workers_.All().at(board_);
    if (workers_.LatestOf(board_) != serves) {
      told.may_have_failed |= has_begun && has_failed;
    } else if (!told.finished && (has_begun || has_failed)) {
      told.finished = event;
    }
  }

  const Settings& settings_;
  FuzzInput& input_;
  std::vector<Told>& told_;
  FakeWorkers workers_;
  std::size_t board_ = 0;
  std::string last_;
  int turns_after_the_end_ = 0;
};

// Checks what a display is shown.
class Observer : public Display {
 public:
  Observer(const Limits& limits, const std::vector<BoardStatus>& boards, std::vector<Told>& told)
      : limits_(limits), boards_(boards), told_(told) {}

  void Show(const BoardStatus& board, Change change) override {
    const auto number = static_cast<std::size_t>(&board - boards_.data());
    Told& told = told_.at(number);
    Require(!told.has_ended, "nothing is shown after the end");
    Require(board.bytes_sent <= board.bytes, "no more is sent than there is");
    Require(change != Change::kProgress || board.block <= board.blocks, "the block is one of them");
    if (change == Change::kAttempt) {
      const int attempts = told.attempts + 1;
      told = Told();
      told.begun = FakeWorkers::Current()->LatestOf(number);
      told.attempts = attempts;
    }
    Require(board.attempt == told.attempts, "each attempt is shown");
    Require(board.attempt <= limits_.attempts, "no more attempts than allowed");
    if (change == Change::kEnd) {
      told.has_ended = true;
      CheckEnd(*board.end, told);
    }
  }
  void Finish(const Totals& /*totals*/) override {}

 private:
  void CheckEnd(const BoardStatus::End& end, const Told& told) const {
    if (told.finished && !IsRepeatable(*told.finished) && !told.may_have_failed) {
      Require(end.outcome == told.finished->outcome, "the outcome is the worker's");
      Require(end.outcome != Outcome::kFailed || end.reason == told.finished->reason,
              "the reason is the worker's");
      Require(end.message.starts_with(told.finished->Text()), "the message is the worker's");
    } else if (!told.finished) {
      Require(end.outcome == Outcome::kFailed, "nothing is good without the worker's word");
    }
    Require(end.seconds >= 0 && end.bytes_per_second >= 0, "no negative time or rate");
  }

  const Limits& limits_;
  const std::vector<BoardStatus>& boards_;
  std::vector<Told>& told_;
};

// Serves nothing: no worker runs.
class NoWorkers : public Workers {
 public:
  void Serve(const Assignment& /*assignment*/, int /*attempt*/, EventSender& /*events*/) override {}
  void GiveBack(const Event& /*ready*/, int /*descriptor*/, bool /*in_transfer*/) override {}
};

std::vector<BoardStatus> BoardsOf(const Settings& settings) {
  std::vector<BoardStatus> boards(settings.Boards());
  for (BoardStatus& board : boards) {
    board.port =
        std::string("/dev/\x1b]0;\xc2\x9b\xff\n\xc3\xbc") + std::to_string(&board - &boards[0]);
    board.board = "a\x7f\tb";
    board.application = "\xed\xa0\x80";
    board.bytes = kBytes;
  }
  return boards;
}

void CheckRun(const Settings& settings, FuzzInput& input) {
  static const Papers kPapers;
  const std::ptrdiff_t descriptors = OpenDescriptors();
  const FakeTime time([](auto asked) { return asked; });
  std::vector<BoardStatus> boards = BoardsOf(settings);
  Assignment assignment;
  assignment.deadline = settings.Deadline();
  const std::vector<Assignment> assignments(boards.size(), assignment);
  std::vector<Told> told(boards.size());
  const Limits limits = settings.GetLimits();
  NoWorkers workers;
  const auto display = kPapers.MakeDisplay(settings.display, boards,
                                           std::make_unique<Observer>(limits, boards, told));
  {
    Play play(settings, input, told);
    Supervisor(assignments, boards, limits, workers, *display).Run();
    play.RequireNobodyLeft();
  }
  const Totals totals = TotalsOf(boards);
  display->Finish(totals);
  kPapers.Check(settings.display, totals);
  Require(OpenDescriptors() == descriptors, "no descriptor is left open");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const RunLimit limit;
  FuzzInput input(data, size);
  try {
    const Settings settings(input);
    CheckRun(settings, input);
  } catch (const EndOfRun&) {
    return 0;  // nothing to check
  }
  return 0;
}
