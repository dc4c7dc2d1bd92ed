#include "support/Script.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <iostream>
#include <sstream>
#include <utility>

#include "support/HeldLocks.h"

namespace kvo::bootloadertms::testing {

namespace {

std::string Quoted(const std::string& text) {
  std::ostringstream quoted;
  quoted << '"';
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte >= 0x20 && byte < 0x7F) {
      quoted << character;
    } else {
      quoted << "\\x" << std::hex << std::setw(2) << std::setfill('0') << unsigned{byte};
    }
  }
  quoted << '"';
  return quoted.str();
}

std::string Nanoseconds(std::chrono::nanoseconds time) {
  return std::to_string(time.count()) + " ns";
}

std::string ProgressValues(bool failed, double fraction) {
  std::ostringstream values;
  values << std::boolalpha << failed << ", " << std::setprecision(17) << fraction;
  return values.str();
}

}  // namespace

Script::Script()
    : time_([this](std::chrono::nanoseconds asked) {
        CheckLock("a sleep");
        return Next({Action::kSleep, Nanoseconds(asked)}).slept;
      }),
      standard_output_(std::cout.rdbuf(this)) {}

Script::~Script() {
  std::cout.rdbuf(standard_output_);
  try {
    SettlePrintedText();
  } catch (const ScriptBroken&) {
    return;  // told already
  }
  if (!steps_.empty() && !broken_) {
    ADD_FAILURE() << steps_.size() << " steps left over, the first is " << Describe(steps_.front());
  }
}

Script& Script::FlushInput() { return Append(Action::kFlushInput); }

Script& Script::Write(const Bytes& bytes) {
  return Append(Action::kWrite, std::string(bytes.begin(), bytes.end()));
}

Script& Script::AnswerByte(std::uint8_t answer) {
  return Append(Action::kReadByte, std::string(1, static_cast<char>(answer)));
}

Script& Script::AnswerRead(const std::string& answer) { return Append(Action::kRead, answer); }

Script& Script::Sleep(std::chrono::nanoseconds time) { return SleepInterrupted(time, time); }

Script& Script::SleepInterrupted(std::chrono::nanoseconds asked, std::chrono::nanoseconds slept) {
  Append(Action::kSleep, Nanoseconds(asked));
  steps_.back().slept = slept;
  return *this;
}

Script& Script::WallClockAdvances(std::chrono::nanoseconds time) {
  steps_.back().wall_clock_advances += time;
  return *this;
}

void Script::RequireOneLock() { requires_one_lock_ = true; }

Script& Script::Print(const std::string& text) {
  if (!steps_.empty() && steps_.back().action == Action::kPrint) {
    steps_.back().text += text;
    return *this;
  }
  return Append(Action::kPrint, text);
}

Script& Script::FlushOutput() { return Append(Action::kFlushOutput); }

Script& Script::Progress(bool failed, double fraction) {
  return Append(Action::kProgress, ProgressValues(failed, fraction));
}

Script& Script::Times(int count, const std::function<void(Script&)>& steps) {
  for (int i = 0; i < count; ++i) {
    steps(*this);
  }
  return *this;
}

TransferProgress Script::ProgressCallback() {
  return [this](bool failed, double fraction) {
    Next({Action::kProgress, ProgressValues(failed, fraction)});
  };
}

int Script::CloseCount() const { return close_count_; }

std::string Script::Describe(const Step& step) {
  static const std::deque<const char*> kNames = {"FlushInput", "Write", "AnswerByte",  "AnswerRead",
                                                 "Sleep",      "Print", "FlushOutput", "Progress"};
  return std::string(kNames.at(static_cast<std::size_t>(step.action))) + "(" + Quoted(step.text) +
         ")";
}

Script& Script::Append(Action action, std::string text) {
  steps_.push_back({action, std::move(text)});
  return *this;
}

// Takes the next step, which must be of the same action; where the code under test gives a text,
// it must be the same too. The text of the step returned is the answer to a read.
Script::Step Script::Next(const Step& done) {
  if (done.action != Action::kPrint) {
    SettlePrintedText();
  }
  const bool is_answer = done.action == Action::kReadByte || done.action == Action::kRead;
  if (!IsNext(done.action) || (!is_answer && steps_.front().text != done.text)) {
    Break(done);
  }
  return TakeStep();
}

Script::Step Script::TakeStep() {
  Step step = std::move(steps_.front());
  steps_.pop_front();
  time_.AdvanceWallClock(step.wall_clock_advances);
  return step;
}

void Script::NextByte(std::uint8_t byte) {
  SettlePrintedText();
  const auto written = static_cast<char>(byte);
  if (!IsNext(Action::kWrite) || steps_.front().text.at(bytes_written_) != written) {
    Break({Action::kWrite, std::string(1, written)});
  }
  ++bytes_written_;
  if (bytes_written_ == steps_.front().text.size()) {
    bytes_written_ = 0;
    TakeStep();
  }
}

bool Script::IsNext(Action action) const {
  return !steps_.empty() && steps_.front().action == action &&
         (action == Action::kWrite || bytes_written_ == 0);
}

void Script::SettlePrintedText() {
  if (!printed_.empty()) {
    Next({Action::kPrint, std::exchange(printed_, "")});
  }
}

void Script::CheckLock(const std::string& where) const {
  if (requires_one_lock_) {
    EXPECT_EQ(HeldLocks(), 1) << "mutexes held in " << where;
  }
}

void Script::Break(const Step& done) {
  const std::string expected =
      steps_.empty() ? "nothing more"
                     : Describe(steps_.front()) + " at byte " + std::to_string(bytes_written_);
  const std::string message = "done: " + Describe(done) + "; expected: " + expected;
  if (!broken_) {
    ADD_FAILURE() << message;
  }
  broken_ = true;
  throw ScriptBroken(message);
}

Script::int_type Script::overflow(int_type character) {
  printed_ += traits_type::to_char_type(character);
  return character;
}

std::streamsize Script::xsputn(const char* text, std::streamsize length) {
  printed_.append(text, static_cast<std::size_t>(length));
  return length;
}

// A stream swallows what its buffer throws; the next call on the port tells the code under test.
int Script::sync() {
  Next({Action::kFlushOutput, ""});
  return 0;
}

ScriptedSerialPort::ScriptedSerialPort(Script& script) : script_(script) {}

std::string ScriptedSerialPort::GetDevice() {
  script_.CheckLock("GetDevice");
  return "/dev/ttyScript";
}

std::uint32_t ScriptedSerialPort::GetBaudRate() {
  script_.CheckLock("GetBaudRate");
  return 115200;
}

int ScriptedSerialPort::Close() {
  script_.CheckLock("Close");
  ++script_.close_count_;
  return 0;
}

void ScriptedSerialPort::Read(std::string& data) {
  script_.CheckLock("Read");
  data.clear();
  data = script_.Next({Script::Action::kRead, ""}).text;
}

void ScriptedSerialPort::WriteByte(std::uint8_t byte) {
  script_.CheckLock("WriteByte");
  script_.NextByte(byte);
}

std::uint8_t ScriptedSerialPort::ReadByte() {
  script_.CheckLock("ReadByte");
  return static_cast<std::uint8_t>(script_.Next({Script::Action::kReadByte, ""}).text.front());
}

int ScriptedSerialPort::FlushInput() {
  script_.CheckLock("FlushInput");
  script_.Next({Script::Action::kFlushInput, ""});
  return 0;
}

}  // namespace kvo::bootloadertms::testing
