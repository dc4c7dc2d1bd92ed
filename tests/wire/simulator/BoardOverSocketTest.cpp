// A board in a thread of its own, its line a real socket.
#include <gtest/gtest.h>

#include <optional>
#include <sstream>
#include <thread>

#include "simulator/Board.h"
#include "simulator/DescriptorLine.h"
#include "simulator/PacedLine.h"
#include "simulator/StopSignals.h"
#include "unit/simulator/ChildProcess.h"
#include "unit/simulator/HostPort.h"

namespace kvo::boardsimulator {
namespace {

class BoardOverSocketTest : public testing::Test {
 protected:
  BoardOverSocketTest() { IgnoreBrokenPipes(); }
  ~BoardOverSocketTest() override {
    if (host_) host_->Close();
    if (thread_.joinable()) thread_.join();
  }

  void StartBoard(std::optional<std::uint32_t> line_rate) {
    SocketPair sockets;
    host_.emplace(std::move(sockets.first));
    line_.emplace(std::move(sockets.second), -1);
    if (line_rate) paced_.emplace(*line_, *line_rate);
    thread_ = std::thread([this] { Serve(); });
  }
  void Serve() {
    ByteStream stream(paced_ ? static_cast<Line&>(*paced_) : *line_);
    BoardSettings settings;
    settings.names = {"TRK4_R1", "TRK4-R1-APPLICATION", "VER 1.0"};
    settings.state = BoardState::kBootloader;
    settings.switch_time = std::chrono::milliseconds(1);
    Trace trace;
    std::ostringstream complaints;
    const ImageKeeper keeper = [this](std::span<const std::uint8_t> image) {
      kept_.assign(image.begin(), image.end());
    };
    Board board(stream, settings, {}, keeper, trace, complaints);
    EXPECT_THROW(board.Serve(), ServingEnded);
  }
  std::string AnswerTo(const Bytes& bytes, std::size_t answer_size) {
    host_->Send(bytes);
    return ToHex(host_->Receive(answer_size));
  }
  void Upload(const Bytes& image) {
    EXPECT_EQ(AnswerTo(FromText("1"), 1), "43");
    EXPECT_EQ(AnswerTo(Packet(0, PacketZeroData(std::to_string(image.size()))), 2), "06 43");
    std::uint8_t number = 1;
    for (std::size_t at = 0; at < image.size(); at += 1024) {
      const auto begin = image.begin() + static_cast<std::ptrdiff_t>(at);
      const std::size_t size = std::min<std::size_t>(1024, image.size() - at);
      const Bytes data(begin, begin + static_cast<std::ptrdiff_t>(size));
      ASSERT_EQ(AnswerTo(Packet(number++, Padded(data, 1024, 0xEE)), 1), "06");
    }
    EXPECT_EQ(AnswerTo(FromHex("04"), 2), "06 43");
    EXPECT_EQ(AnswerTo(ClosingPacket(), 2), "06 4f");
  }

  std::optional<HostPort> host_;
  std::optional<DescriptorLine> line_;
  std::optional<PacedLine> paced_;
  std::thread thread_;
  Bytes kept_;
};

TEST_F(BoardOverSocketTest, UploadOfManyBlocks) {
  StartBoard(std::nullopt);
  const Bytes image = Pattern(300'001);
  Upload(image);
  EXPECT_EQ(kept_, image);
  EXPECT_EQ(AnswerTo(FromText("0"), 1), "41");
}

TEST_F(BoardOverSocketTest, PacedUploadTakesAtLeastItsLineTime) {
  StartBoard(1'000'000);
  const Bytes image = Pattern(20'480);
  const TimePoint start = Clock::now();
  Upload(image);
  EXPECT_EQ(kept_, image);
  // 1 command, packet 0, 20 blocks, the end of the file and the closing packet: 20 848 bytes.
  EXPECT_GE(Clock::now() - start, std::chrono::microseconds(208'480));
}

TEST_F(BoardOverSocketTest, PacedAnswerTakesAtLeastItsLineTime) {
  StartBoard(1000);
  const TimePoint start = Clock::now();
  EXPECT_EQ(AnswerTo(FromText("z"), 3), "55 0d 0a");
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(40));
}

TEST_F(BoardOverSocketTest, HostThatLeavesInTheMiddleOfABlockEndsTheServing) {
  StartBoard(std::nullopt);
  EXPECT_EQ(AnswerTo(FromText("1"), 1), "43");
  host_->Send(FromHex("01 00 ff 30"));
  host_->Close();
  thread_.join();
}

}  // namespace
}  // namespace kvo::boardsimulator
