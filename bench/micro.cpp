// What the senders' own work costs, without a line: Google Benchmark.
#include <benchmark/benchmark.h>
#include <fcntl.h>

#include <numeric>
#include <vector>

#include "boards/TransferWatch.h"
#include "boards/ports/BoardPort.h"
#include "transfer/BoardDefinition.h"
#include "transfer/Crc16.h"
#include "transfer/PacketZero.h"
#include "transfer/YmodemSender.h"

namespace {

using kvo::boards::BoardPort;
using kvo::boards::Borrowed;
using kvo::boards::PortDecorator;
using kvo::boards::TransferWatch;
using kvo::bootloadertms::BoardDefinition;
using kvo::bootloadertms::BuildPacketZero;
using kvo::bootloadertms::ISerialPort;
using kvo::bootloadertms::kCrc16Initial;
using kvo::bootloadertms::UpdateCrc16;
using kvo::bootloadertms::YmodemSender;

constexpr std::size_t kBlockSize = 1024;

// Takes every byte and acknowledges everything.
class IdlePort : public ISerialPort {
 public:
  std::uint32_t SetDevice(std::string /*device*/) override { return 0; }
  std::string GetDevice() override { return ""; }
  std::uint32_t SetBaudRate(std::uint32_t /*rate*/) override { return 0; }
  std::uint32_t GetBaudRate() override { return 0; }
  void SetTimeout(std::int32_t /*timeout_ms*/) override {}
  int SetOptionFlag(bool /*flag*/) override { return 0; }
  void Open() override {}
  int Close() override { return 0; }
  std::int64_t Write(const std::string& data) override {
    return static_cast<std::int64_t>(data.size());
  }
  void WriteSlowly(const std::string& /*data*/, std::uint32_t /*delay_ms*/) override {}
  void Read(std::string& data) override { data.clear(); }
  void WriteByte(std::uint8_t byte) override { benchmark::DoNotOptimize(byte); }
  std::uint8_t ReadByte() override { return 0x06; }
  int FlushInput() override { return 0; }
};

// Writes to /dev/null, and acknowledges everything.
class NullPort : public BoardPort {
 public:
  NullPort() : BoardPort("/dev/null", 1000000) { Open(); }
  std::uint8_t ReadByte() override { return 0x06; }

 protected:
  Borrowed OpenDescriptor() override {
    return {.descriptor = ::open("/dev/null", O_WRONLY), .is_terminal = true};
  }
  int Discard(int /*descriptor*/) override { return 0; }
};

std::vector<std::uint8_t> Image(std::size_t size) {
  std::vector<std::uint8_t> image(size);
  std::iota(image.begin(), image.end(), std::uint8_t{1});
  return image;
}

void CrcOfABlock(benchmark::State& state) {
  const std::vector<std::uint8_t> block = Image(kBlockSize);
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(
        std::accumulate(block.begin(), block.end(), kCrc16Initial, UpdateCrc16));
  }
}
BENCHMARK(CrcOfABlock);

void PacketZero(benchmark::State& state) {
  const BoardDefinition board("image_tv.bin");
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(BuildPacketZero(1'000'000, board));
  }
}
BENCHMARK(PacketZero);

constexpr int kBlocks = 1024;

// The time of one block of 1024; each is followed by a "." that is flushed, as always.
void MeasureABlock(benchmark::State& state, ISerialPort& port) {
  const std::vector<std::uint8_t> image = Image(kBlocks * kBlockSize);
  YmodemSender sender;
  while (state.KeepRunning()) {
    sender.SendDataPacket(port, image.data(), static_cast<std::uint32_t>(image.size()));
  }
  state.counters["block"] = benchmark::Counter(
      kBlocks, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void ABlockThroughTheSender(benchmark::State& state) {
  IdlePort port;
  MeasureABlock(state, port);
}
BENCHMARK(ABlockThroughTheSender);

// With what kvo-boards does for each byte, and its write per block.
void ABlockThroughThePortOfBoards(benchmark::State& state) {
  NullPort port;
  TransferWatch watch(
      port, kBlocks * kBlockSize, [] { return true; }, [] {});
  PortDecorator borrowed(static_cast<ISerialPort&>(watch));
  borrowed.WriteByte('1');
  MeasureABlock(state, borrowed);
}
BENCHMARK(ABlockThroughThePortOfBoards);

}  // namespace

BENCHMARK_MAIN();
