#include "program/UtilityOnALine.h"

namespace kvo::bootloadertms::testing {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

void SendIfStillOpen(const TestTerminal& terminal, const std::string& bytes) {
  try {
    terminal.Send(bytes);
  } catch (const std::runtime_error&) {
    // The utility has closed the line.
  }
}

void UtilityOnALine::Start(const std::vector<std::string>& after_the_speed,
                           const std::vector<std::string>& run_by) {
  std::vector<std::string> arguments = {terminal_.Path(), "115200"};
  arguments.insert(arguments.end(), after_the_speed.begin(), after_the_speed.end());
  start_ = steady_clock::now();
  utility_ = StartUtility(arguments, tools_, run_by);
}

void UtilityOnALine::StartInFastTime(const std::vector<std::string>& after_the_speed) {
  Start(after_the_speed, {"faketime", "-f", "+0 x40"});
}

void UtilityOnALine::BoardGets(const std::string& bytes) {
  ASSERT_EQ(terminal_.Receive(bytes.size()), bytes);
}

void UtilityOnALine::BoardPlays(const std::vector<Exchange>& exchanges) {
  for (const Exchange& exchange : exchanges) {
    if (exchange.request.empty()) {
      WaitUntilTheUtilityHasRead();
    }
    ASSERT_NO_FATAL_FAILURE(BoardGets(exchange.request));
    BoardSends(exchange.answer);
  }
}

void UtilityOnALine::BoardRepeatsUntilTheUtilityEnds(const std::string& bytes) const {
  constexpr milliseconds kPause{20};
  while (utility_->Wait(kPause) == -1) {
    SendIfStillOpen(terminal_, bytes);
  }
}

void UtilityOnALine::UtilityShows(const std::string& output) {
  ASSERT_TRUE(utility_->OutputBeginsWith(output)) << utility_->Output();
}

void UtilityOnALine::ExpectSuccess(const std::string& output, const std::string& error_output) {
  const Outcome outcome = End();
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_EQ(outcome.output, output);
  EXPECT_EQ(outcome.error_output, error_output);
}

void UtilityOnALine::ExpectFailure(const std::string& output, const std::string& message) {
  const Outcome outcome = End();
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(outcome.output, output + Failure(message));
  EXPECT_EQ(outcome.error_output, "");
}

void UtilityOnALine::ExpectEndBySignal(int signal) {
  Signal(signal);
  EXPECT_EQ(OutcomeOf(*utility_).exit_status, 128 + signal);
  while (!terminal_.Receive(1, milliseconds(1)).empty()) {
  }
}

milliseconds UtilityOnALine::RunTime() const { return run_time_; }

Outcome UtilityOnALine::End() {
  Outcome outcome = OutcomeOf(*utility_);
  run_time_ = std::chrono::duration_cast<milliseconds>(steady_clock::now() - start_);
  EXPECT_EQ(terminal_.Receive(1, milliseconds(1)), "") << "more was sent to the board";
  return outcome;
}

}  // namespace kvo::bootloadertms::testing
