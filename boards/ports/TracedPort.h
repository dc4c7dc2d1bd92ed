#pragma once

#include <string>
#include <string_view>

#include "boards/BoardLog.h"
#include "boards/ports/BoardPort.h"
#include "boards/ports/PortDecorator.h"

namespace kvo::boards {

// Records each byte that goes through a port, with its time, hexadecimal and as text; all else is
// the port's matter. Borrows both.
//
//   > 30  |0|
//   < 41  |A|
//
// ">" goes to the board, "<" comes from it; at most 16 bytes a line.
class TracedPort : public PortDecorator {
 public:
  TracedPort(BoardPort& port, BoardLog& log) : PortDecorator(port), port_(port), log_(log) {}

  int Close() override;
  std::int64_t Write(const std::string& data) override;
  void WriteSlowly(const std::string& data, std::uint32_t delay_ms) override;
  void Read(std::string& data) override;
  void WriteByte(std::uint8_t byte) override;
  std::uint8_t ReadByte() override;
  int FlushInput() override;

 private:
  void Record(char direction, std::string_view bytes);
  void RecordSent();

  BoardPort& port_;
  BoardLog& log_;
  std::string sent_;  // and not recorded yet
};

}  // namespace kvo::boards
