#include "boards/Workers.h"

#include <kvo/bootloadertms/BootLoader.h>

#include <csignal>
#include <cstring>
#include <iostream>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include "boards/BoardLog.h"
#include "boards/Diagnosis.h"
#include "boards/StopHandler.h"
#include "boards/Tasks.h"
#include "boards/ports/TracedPort.h"

namespace kvo::boards {

namespace {

using namespace std::chrono_literals;
using bootloadertms::BootLoader;

constexpr std::chrono::milliseconds kPortMayBeAwayFor = 10s;
constexpr std::chrono::milliseconds kPortMayBeInTheMakingFor = 2s;
constexpr std::chrono::milliseconds kLookForPortEvery = 100ms;
constexpr std::chrono::milliseconds kTellProgressEvery = 100ms;

void Open(BoardPort& port) {
  const StopsLater until_it_is_open;
  try {
    port.Open();
  } catch (const std::system_error& error) {
    throw PortFailure(Reason::kMissing, "can't be opened: " + error.code().message());
  }
}

// A port that has just appeared gets its permissions a moment later. It may be busy for a moment,
// too: by programs that look at each new device, and by a worker that has just begun and not closed
// yet what it has inherited. One that has gone again may come back.
void OpenWithin(std::chrono::milliseconds patience, BoardPort& port) {
  const Clock::time_point limit = Clock::now() + patience;
  for (;;) {
    try {
      Open(port);
      return;
    } catch (const PortFailure& failure) {
      if (failure.GetReason() == Reason::kNotATerminal || Clock::now() >= limit) {
        throw;
      }
    }
    std::this_thread::sleep_for(kLookForPortEvery);
  }
}

// The port of a repeated attempt.
void OpenWhenItIsBack(BoardPort& port) {
  try {
    OpenWithin(kPortMayBeAwayFor, port);
  } catch (const PortFailure& failure) {
    if (failure.GetReason() == Reason::kNotATerminal || failure.GetReason() == Reason::kBusy) {
      throw;
    }
    throw PortFailure(Reason::kLost, "the port was not back after 10 s");
  }
}

Event Lost(const TransferWatch& watch, const std::string& cause) {
  const TransferWatch::Position position = watch.GetPosition();
  Event event;
  event.kind = EventKind::kFinished;
  event.outcome = Outcome::kFailed;
  event.reason = Reason::kLost;
  event.step = watch.IsInTransfer() ? Step::kTransfer : Step::kSwitching;
  event.block = position.block;
  event.blocks = position.blocks;
  event.bytes_sent = position.bytes_sent;
  event.SetText(watch.IsInTransfer() ? InTransfer(position.block, position.blocks, cause) : cause);
  return event;
}

Event NotOpened(const PortFailure& failure) {
  Event event;
  event.kind = EventKind::kFinished;
  event.outcome = Outcome::kFailed;
  event.reason = failure.GetReason();
  event.SetText(failure.what());
  return event;
}

// Serves one board. From `Run` on, it must live as long as its process.
class Worker {
 public:
  Worker(const Plan& plan, const Assignment& assignment, const EventSender& events)
      : plan_(plan),
        answer_timeout_(assignment.answer_timeout),
        log_(assignment.log_path.empty() ? BoardLog() : BoardLog(assignment.log_path)),
        events_(events),
        port_(MakePort(assignment.port, plan.command_line.baud_rate, answer_timeout_)),
        traced_(*port_, log_),
        client_(MakeWatch()) {
    std::cout.rdbuf(assignment.log_path.empty() ? nullptr : &log_.Trace());
  }

  void Run(bool is_repeated) {
    GiveBackWhenToldToEnd(events_, *watch_, port_->GetBorrowed());
    try {
      OpenPort(is_repeated);
    } catch (const PortFailure& failure) {
      events_.Send(NotOpened(failure));
      return;
    }
    const bool is_told = TellReady();
    if (is_told && events_.WaitForGo()) {
      Serve(is_repeated);
    }
    watch_->Close();
    std::signal(SIGTERM, SIG_IGN);  // there is nothing left to give back
    if (!is_told || !port_->IsGivenBack()) {
      throw std::runtime_error("the supervisor has to see to it");
    }
  }

 private:
  std::unique_ptr<TransferWatch> MakeWatch() {
    bootloadertms::ISerialPort& port =
        plan_.command_line.trace ? static_cast<bootloadertms::ISerialPort&>(traced_) : *port_;
    auto watch = std::make_unique<TransferWatch>(
        port, plan_.bytes, [this] { return port_->HasRead(); }, [this] { TellProgress(); });
    watch_ = watch.get();
    return watch;
  }

  void OpenPort(bool is_repeated) {
    if (is_repeated) {
      OpenWhenItIsBack(*port_);
    } else if (plan_.command_line.action == Action::kWatch) {
      OpenWithin(kPortMayBeInTheMakingFor, *port_);
    } else {
      Open(*port_);
    }
  }

  bool TellReady() {
    Event event;
    event.kind = EventKind::kReady;
    const Borrowed& borrowed = port_->GetBorrowed();
    static_assert(sizeof borrowed <= Event::kTextSize);
    event.SetText({reinterpret_cast<const char*>(&borrowed), sizeof borrowed});
    return events_.SendWithDescriptor(event, borrowed.descriptor);
  }

  // The event that finishes it goes out before the port is closed, which may take a driver long.
  void Serve(bool is_repeated) {
    try {
      events_.Send(Do(is_repeated));
    } catch (const PortFailure& failure) {
      Leave(failure.what());
    } catch (const std::system_error& error) {
      Leave("the port fails (" + error.code().message() + ")");
    }
  }

  // Not all that fails is gone: the board may still be there, and wait for the rest.
  void Leave(const std::string& cause) {
    events_.Send(Lost(*watch_, cause));
    GiveBack(port_->GetBorrowed(), watch_->IsInTransfer() && !watch_->IsCancelled());
  }

  Event Do(bool is_repeated) {
    const auto tell = [this](const Event& event) { events_.Send(event); };
    if (plan_.command_line.dry_run) {
      Event event;
      event.kind = EventKind::kFinished;
      event.outcome = Outcome::kReady;
      return event;
    }
    return plan_.command_line.action == Action::kInfo
               ? Ask(client_, tell)
               : Flash(plan_, is_repeated, answer_timeout_, client_, *watch_, tell);
  }

  void TellProgress() {
    const TransferWatch::Position position = watch_->GetPosition();
    const std::uint64_t tenth = position.bytes_sent * 10 / plan_.bytes;
    const Clock::time_point now = Clock::now();
    if (tenth == tenth_ && now < next_progress_) {
      return;
    }
    next_progress_ = now + kTellProgressEvery;
    tenth_ = tenth;
    Event event;
    event.kind = EventKind::kProgress;
    event.block = position.block;
    event.blocks = position.blocks;
    event.bytes_sent = position.bytes_sent;
    position.block == position.blocks ? events_.Send(event) : events_.SendIfPossible(event);
  }

  const Plan& plan_;
  std::chrono::milliseconds answer_timeout_;
  BoardLog log_;
  const EventSender& events_;
  std::unique_ptr<BoardPort> port_;
  TracedPort traced_;
  TransferWatch* watch_ = nullptr;  // the client's
  BootLoader client_;
  Clock::time_point next_progress_;
  std::uint64_t tenth_ = 0;
};

class LibraryWorkers : public Workers {
 public:
  explicit LibraryWorkers(const Plan& plan) : plan_(plan) {}

  void Serve(const Assignment& assignment, int attempt, EventSender& events) override {
    // Deliberate: never deleted, as the signal handler and std::cout use it until the process ends.
    auto* const worker = new Worker(plan_, assignment, events);
    worker->Run(attempt > 1);
  }

  void GiveBack(const Event& ready, int descriptor, bool in_transfer) override {
    Borrowed borrowed;
    if (ready.Text().size() == sizeof borrowed) {
      std::memcpy(&borrowed, ready.Text().data(), sizeof borrowed);
      borrowed.descriptor = descriptor;
      boards::GiveBack(borrowed, in_transfer);
    }
  }

 private:
  const Plan& plan_;
};

}  // namespace

std::unique_ptr<Workers> MakeWorkers(const Plan& plan) {
  return std::make_unique<LibraryWorkers>(plan);
}

}  // namespace kvo::boards
