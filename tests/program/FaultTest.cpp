// What becomes of an upload of three blocks to a board that misbehaves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include "program/Programs.h"
#include "tables/UploadTexts.h"

namespace kvo::bootloadertms::testing {
namespace {

const std::string kImage = std::string(1024, 'a') + std::string(1024, 'b') + std::string(500, 'c');

const std::string kPacketZero = PacketZeroForTv("2548.............") + kPacketZeroSent;
const std::string kUpToTheData = kReceiverAsked + kPacketZero + kPacketZeroAccepted;

struct FaultRow {
  std::vector<const char*> faults;
  int exit_status;
  std::string output;
  bool image_is_kept;
};

void PrintTo(const FaultRow& row, std::ostream* out) {
  for (const char* fault : row.faults) {
    *out << fault << " ";
  }
}

class UploadWithFault : public ::testing::TestWithParam<FaultRow> {};

std::vector<std::string> BoardOptions(const std::vector<const char*>& faults) {
  std::vector<std::string> options = {"--board", "tv", "--state", "bootloader"};
  for (const char* fault : faults) {
    options.insert(options.end(), {"--fault", fault});
  }
  return options;
}

TEST_P(UploadWithFault, EndsAsItMust) {
  const TemporaryFolder folder;
  SimulatedBoard board(BoardOptions(GetParam().faults));
  const Outcome outcome =
      RunUtility({board.Path(), "1000000", folder.WriteFile("fw_tv.bin", kImage), "--x"});
  EXPECT_EQ(outcome.exit_status, GetParam().exit_status);
  EXPECT_EQ(outcome.output, GetParam().output);
  EXPECT_EQ(outcome.error_output, "");
  EXPECT_EQ(board.HasFlash(), GetParam().image_is_kept);
  if (GetParam().image_is_kept) {
    EXPECT_TRUE(board.Flash() == kImage);
  }
}

FaultRow Succeeds(std::vector<const char*> faults, const std::string& output) {
  return {std::move(faults), 0, output, true};
}
FaultRow Fails(std::vector<const char*> faults, const std::string& output) {
  return {std::move(faults), 1, output, false};
}

INSTANTIATE_TEST_SUITE_P(
    AtStart, UploadWithFault,
    ::testing::Values(Fails({"byte=46@start"}, " Command failed received \n" + kTransmitFailed),
                      Succeeds({"late=300@start"}, kUpToTheData + "..." + kTransferComplete),
                      Succeeds({"silence@start"}, kUpToTheData + "..." + kTransferComplete),
                      Succeeds({"nak@start"}, kUpToTheData + "..." + kTransferComplete),
                      Succeeds({"lost-ack@start"}, kUpToTheData + "..." + kTransferComplete),
                      // Both packets 0 are accepted, so that each further answer is an older one's.
                      Fails({"double-ack@start"},
                            kReceiverAsked + kPacketZero + kPacketZeroAskedForAgain + kPacketZero +
                                kPacketZeroAccepted + ".CRC SendDataPacket 2\n.." +
                                kTransferComplete + kVerdictFailed)));

INSTANTIATE_TEST_SUITE_P(
    AtPacketZero, UploadWithFault,
    ::testing::Values(
        Fails({"nak@packet0"}, kReceiverAsked + kPacketZero + kGivenUp + kTransmitFailed),
        Fails({"can@packet0"}, kReceiverAsked + kPacketZero + kGivenUp + kTransmitFailed),
        Fails({"byte=5a@packet0"}, kReceiverAsked + kPacketZero + kGivenUp + kTransmitFailed),
        Fails({"silence@packet0"}, kReceiverAsked + kPacketZero + kGivenUp + kTransmitFailed),
        Fails({"late=1000@packet0"}, kReceiverAsked + kPacketZero + kGivenUp + kTransmitFailed),
        Fails({"hangup@packet0"}, kReceiverAsked + kPacketZero + kGivenUp + Failure("Bad address")),
        Fails({"double-ack@packet0"}, kReceiverAsked + kPacketZero + kPacketZeroAcknowledged +
                                          kPacketZero + kPacketZeroAskedForAgain + kPacketZero +
                                          kPacketZeroAccepted + ".CRC SendDataPacket 2\n.." +
                                          kTransferComplete + kVerdictFailed),
        Succeeds({"c@packet0"}, kReceiverAsked + kPacketZero + kPacketZeroAskedForAgain +
                                    kPacketZero + kPacketZeroAccepted + "..." + kTransferComplete),
        Fails({"c@packet0/2"}, kReceiverAsked + kPacketZero + kPacketZeroAskedForAgain +
                                   kPacketZero + kGivenUp + kTransmitFailed),
        Succeeds({"c@packet0", "nak@packet0/2"},
                 kReceiverAsked + kPacketZero + kPacketZeroAskedForAgain + kPacketZero +
                     kPacketZero + kPacketZero + kPacketZeroAccepted + "..." + kTransferComplete),
        Succeeds({"lost-ack@packet0"}, kReceiverAsked + kPacketZero + kPacketZeroAskedForAgain +
                                           kPacketZero + kPacketZeroAccepted + "..." +
                                           kTransferComplete)));

INSTANTIATE_TEST_SUITE_P(
    AtABlock, UploadWithFault,
    ::testing::Values(
        Succeeds({"nak@block:1"}, kUpToTheData + "NACK SendDataPacket 1\n..." + kTransferComplete),
        Succeeds({"nak@block:2/3"}, kUpToTheData +
                                        ".NACK SendDataPacket 2\nNACK SendDataPacket 2\nNACK "
                                        "SendDataPacket 2\n.." +
                                        kTransferComplete),
        Succeeds({"nak@block:1/6"},
                 kUpToTheData +
                     "NACK SendDataPacket 1\nNACK SendDataPacket 1\nNACK "
                     "SendDataPacket 1\nNACK SendDataPacket 1\nNACK SendDataPacket "
                     "1\nNACK SendDataPacket 1\n..." +
                     kTransferComplete),
        Succeeds({"c@block:1/2", "nak@block:1"},
                 kUpToTheData +
                     "CRC SendDataPacket 1\nCRC SendDataPacket 1\nNACK "
                     "SendDataPacket 1\n..." +
                     kTransferComplete),
        Succeeds({"c@block:3"}, kUpToTheData + "..CRC SendDataPacket 3\n." + kTransferComplete),
        Fails({"can@block:2"}, kUpToTheData + ".CAN SendDataPacket 2\n" + kTransmitFailed),
        Fails({"byte=5a@block:1"}, kUpToTheData + "UNKNOWN SendDataPacket 1\n" + kTransmitFailed),
        Fails({"silence@block:3"}, kUpToTheData + "..UNKNOWN SendDataPacket 3\n" + kTransmitFailed),
        Fails({"late=1000@block:2"},
              kUpToTheData + ".UNKNOWN SendDataPacket 2\n" + kTransmitFailed),
        Fails({"lost-ack@block:2"}, kUpToTheData + ".UNKNOWN SendDataPacket 2\n" + kTransmitFailed),
        Fails({"hangup@block:2"}, kUpToTheData + ".UNKNOWN SendDataPacket 2\n" + kTransmitFailed),
        // Each further answer is then that of the block before, up to the 'C' as the verdict.
        Fails({"double-ack@block:1"}, kUpToTheData + "..." + kTransferComplete + kVerdictFailed)));

INSTANTIATE_TEST_SUITE_P(
    AtTheEndOfFile, UploadWithFault,
    ::testing::Values(Succeeds({"nak@eot"}, kUpToTheData + "..." + kTransferComplete),
                      Succeeds({"nak@eot/5"}, kUpToTheData + "..." + kTransferComplete),
                      Fails({"c@eot"}, kUpToTheData + "..." + kTransmitFailed),
                      Fails({"can@eot"}, kUpToTheData + "..." + kTransmitFailed),
                      Fails({"byte=5a@eot"}, kUpToTheData + "..." + kTransmitFailed),
                      Fails({"silence@eot"}, kUpToTheData + "..." + kTransmitFailed),
                      Fails({"late=1000@eot"}, kUpToTheData + "..." + kTransmitFailed),
                      Fails({"lost-ack@eot"}, kUpToTheData + "..." + kTransmitFailed),
                      Fails({"hangup@eot"}, kUpToTheData + "..." + kTransmitFailed),
                      Fails({"double-ack@eot"},
                            kUpToTheData + "..." + kTransferComplete + kVerdictFailed)));

// The image has arrived, so the board keeps it, but the host can't know.
FaultRow FailsThoughTheImageIsKept(const char* fault) {
  return {{fault}, 1, kUpToTheData + "..." + kTransferComplete + kVerdictFailed, true};
}

INSTANTIATE_TEST_SUITE_P(
    AtTheClosingPacket, UploadWithFault,
    ::testing::Values(Succeeds({"nak@closing"}, kUpToTheData + "..." + kTransferComplete),
                      Succeeds({"c@closing/4"}, kUpToTheData + "..." + kTransferComplete),
                      Succeeds({"byte=5a@closing"}, kUpToTheData + "..." + kTransferComplete),
                      Succeeds({"silence@closing"}, kUpToTheData + "..." + kTransferComplete),
                      Succeeds({"late=300@closing"}, kUpToTheData + "..." + kTransferComplete),
                      Succeeds({"lost-ack@closing"}, kUpToTheData + "..." + kTransferComplete),
                      FailsThoughTheImageIsKept("double-ack@closing"),
                      Fails({"hangup@closing"}, kUpToTheData + "..." + Failure("Bad address"))));

INSTANTIATE_TEST_SUITE_P(AtTheVerdict, UploadWithFault,
                         ::testing::Values(FailsThoughTheImageIsKept("byte=6f@verdict"),
                                           FailsThoughTheImageIsKept("silence@verdict"),
                                           FailsThoughTheImageIsKept("nak@verdict"),
                                           FailsThoughTheImageIsKept("c@verdict"),
                                           FailsThoughTheImageIsKept("can@verdict"),
                                           FailsThoughTheImageIsKept("late=1000@verdict"),
                                           FailsThoughTheImageIsKept("lost-ack@verdict"),
                                           Succeeds({"double-ack@verdict"},
                                                    kUpToTheData + "..." + kTransferComplete)));

// Whether the acknowledge before it still arrives is up to the system.
TEST(FaultTest, HangUpAtTheVerdictFailsOneWayOrTheOther) {
  const TemporaryFolder folder;
  SimulatedBoard board(BoardOptions({"hangup@verdict"}));
  const Outcome outcome =
      RunUtility({board.Path(), "1000000", folder.WriteFile("fw_tv.bin", kImage), "--x"});
  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_THAT(outcome.output,
              ::testing::AnyOf(kUpToTheData + "..." + kTransferComplete + kVerdictFailed,
                               kUpToTheData + "..." + Failure("Bad address")));
}

// Waits and repetitions that have no limit: the utility must still be there, at this place.
struct WaitRow {
  std::vector<const char*> faults;
  std::string begin_of_output;
};

void PrintTo(const WaitRow& row, std::ostream* out) { *out << row.faults.back(); }

class UploadThatWaits : public ::testing::TestWithParam<WaitRow> {};

TEST_P(UploadThatWaits, GoesOnUntilItIsStopped) {
  const TemporaryFolder folder;
  SimulatedBoard board(BoardOptions(GetParam().faults));
  const StandInTools tools;
  const auto utility =
      StartUtility({board.Path(), "1000000", folder.WriteFile("fw_tv.bin", kImage), "--x"}, tools);
  EXPECT_TRUE(utility->OutputBeginsWith(GetParam().begin_of_output)) << utility->Output();
  constexpr std::chrono::milliseconds kForAWhile{200};
  EXPECT_EQ(utility->Wait(kForAWhile), -1) << utility->Output();
  utility->Signal(SIGTERM);
  EXPECT_EQ(utility->Wait(), 128 + SIGTERM);
}

INSTANTIATE_TEST_SUITE_P(
    FaultTest, UploadThatWaits,
    ::testing::Values(WaitRow{{"silence@start/always"}, ""}, WaitRow{{"can@start"}, ""},
                      WaitRow{{"hangup@start"}, ""},
                      WaitRow{
                          {"c@packet0", "nak@packet0/always"},
                          kReceiverAsked + kPacketZero + kPacketZeroAskedForAgain + kPacketZero},
                      WaitRow{{"nak@block:1/always"},
                              kUpToTheData + "NACK SendDataPacket 1\nNACK SendDataPacket 1\n"},
                      WaitRow{{"c@block:2/always"},
                              kUpToTheData + ".CRC SendDataPacket 2\nCRC SendDataPacket 2\n"},
                      WaitRow{{"nak@eot/always"}, kUpToTheData + "..."},
                      WaitRow{{"byte=5a@closing/always"}, kUpToTheData + "..."},
                      WaitRow{{"can@closing"}, kUpToTheData + "..."}));

}  // namespace
}  // namespace kvo::bootloadertms::testing
