#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "program/UtilityOnALine.h"

namespace kvo::bootloadertms::testing {

// A place in a run: what has gone to and fro before it.
struct Stage {
  const char* name;
  std::vector<std::string> arguments;  // "IMAGE" stands for an image's path
  std::vector<Exchange> exchanges;
  std::size_t packet_bytes;  // that come behind the exchanges
  std::string answer;        // to those
  std::size_t more_bytes;
};

inline void PrintTo(const Stage& stage, std::ostream* out) { *out << stage.name; }

class RunUpToAStage : public UtilityOnALine {
 protected:
  void RunUpTo(const Stage& stage);

 private:
  const TemporaryFolder folder_;
  const std::string image_ = folder_.WriteFile("fw_tv.bin", std::string(4000, 'i'));
};

inline constexpr std::size_t kPacketZeroLength = 133;
inline constexpr std::size_t kPartOfABlock = 500;

inline const Stage kActivation{
    "Activation", {"IMAGE", "--active_bootloader"}, {{"Q", ""}}, 0, "", 0};
inline const Stage kPing{"Ping", {"--command", "0x30"}, {{"0", ""}}, 0, "", 0};
inline const Stage kPause{"Pause", {"--send", "41"}, {{"A", ""}}, 0, "", 0};
inline const Stage kCalibration{
    "Calibration", {"--command", "0x4B"}, {{"K", "KVO_CMD_CALIBRATE"}}, 0, "", 0};
inline const Stage kRepeatedQuestion{
    "RepeatedQuestion", {"--command", "0x100"}, {{"s", "can"}, {"s", "can"}}, 0, "", 0};
inline const Stage kRestoring{
    "Restoring", {"--command", "0x110"}, {{"Q", ""}, {"6", ""}}, 0, "", 0};
inline const Stage kWaitForTheReceiver{
    "WaitForTheReceiver", {"IMAGE", "--x"}, {{"1", ""}}, 0, "", 0};
inline const Stage kPacketZero{"PacketZero", {"IMAGE", "--x"}, {{"1", "C"}}, 50, "", 0};
inline const Stage kBlock{"Block",
                          {"IMAGE", "--x"},
                          {{"1", "C"}},
                          kPacketZeroLength,
                          "\x06"
                          "C",
                          kPartOfABlock};
inline const Stage kStartOfTheApplication{
    "StartOfTheApplication", {"--command", "0x36"}, {{"6", ""}, {"0", ""}}, 0, "", 0};

}  // namespace kvo::bootloadertms::testing
