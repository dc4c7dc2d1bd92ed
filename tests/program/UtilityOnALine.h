#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "program/Programs.h"
#include "support/Processes.h"
#include "support/TestTerminal.h"
#include "tables/Commands.h"
#include "tables/UploadTexts.h"

namespace kvo::bootloadertms::testing {

// Sends unless the utility has closed the line.
void SendIfStillOpen(const TestTerminal& terminal, const std::string& bytes);

// The real program on a pseudo-terminal at whose far end the test plays the board, byte for byte:
//
//   Start({"--command", "0x37"});
//   BoardGets("7");
//   BoardSends("HW 2\r\n");
//   ExpectSuccess("HW 2\r\n\0\n"s);
//
// Nothing but what `BoardGets` names may have gone out on the line.
class UtilityOnALine : public ::testing::Test {
 protected:
  // The device and 115200 baud stand before `after_the_speed`.
  void Start(const std::vector<std::string>& after_the_speed,
             const std::vector<std::string>& run_by = {});
  // All clocks and sleeps of the utility, but not its reads, run 40 times as fast.
  void StartInFastTime(const std::vector<std::string>& after_the_speed);

  // The next bytes from the utility, which it must send within a generous time.
  void BoardGets(const std::string& bytes);
  void BoardSends(const std::string& bytes) const { terminal_.Send(bytes); }
  void BoardPlays(const std::vector<Exchange>& exchanges);
  void BoardRepeatsUntilTheUtilityEnds(const std::string& bytes) const;
  void WaitUntilTheUtilityHasRead() const { terminal_.WaitUntilRead(); }

  // Waits until the utility has shown `output`.
  void UtilityShows(const std::string& output);

  void ExpectSuccess(const std::string& output, const std::string& error_output = "");
  // `output` up to the report of the failure, which tells `message`.
  void ExpectFailure(const std::string& output, const std::string& message);

  bool EndsWithin(std::chrono::milliseconds limit) { return utility_->Wait(limit) != -1; }

  void Signal(int signal) const { utility_->Signal(signal); }
  // Sends the signal and waits for the end; what went out on the line before is dropped.
  void ExpectEndBySignal(int signal);

  // Waits for the end of the run, after which nothing more may have gone out on the line.
  Outcome End();

  // From before the start to after the end of the run: its pauses fit into it.
  std::chrono::milliseconds RunTime() const;

  TestTerminal terminal_;
  StandInTools tools_;

 private:
  std::unique_ptr<RunningProgram> utility_;
  std::chrono::steady_clock::time_point start_;
  std::chrono::milliseconds run_time_{};
};

}  // namespace kvo::bootloadertms::testing
