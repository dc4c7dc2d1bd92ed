#pragma once

#include <functional>
#include <optional>
#include <ostream>
#include <string_view>
#include <vector>

#include "simulator/AnswerSender.h"
#include "simulator/AnswerTable.h"
#include "simulator/AskAgain.h"
#include "simulator/BoardState.h"
#include "simulator/BoardTable.h"
#include "simulator/ByteStream.h"
#include "simulator/Calibration.h"
#include "simulator/FaultPlan.h"
#include "simulator/PacketZero.h"
#include "simulator/TextSender.h"
#include "simulator/Trace.h"
#include "simulator/YmodemReceiver.h"

namespace kvo::boardsimulator {

struct BoardSettings {
  BoardNames names;
  std::string identification;  // see BoardPacketZero
  BoardState state = BoardState::kApplication;
  std::chrono::milliseconds switch_time{200};
  std::uint32_t silent_pings = 0;  // after the start and after each switch
  ReceiverTimes times;
  AnswerTable answers;
  std::vector<AskAgain> ask_again;
  TextManner manner;
  CalibrationSettings calibration;
};

// Keeps a good image; throws std::runtime_error if it cannot.
using ImageKeeper = std::function<void(std::span<const std::uint8_t> image)>;

// The board: runs its application or its bootloader and answers the commands of the host. Borrows
// the stream, the trace and `complaints`, to which it tells what went wrong here, one line each.
class Board {
 public:
  Board(ByteStream& stream, BoardSettings settings, std::vector<Fault> faults, ImageKeeper keeper,
        Trace& trace, std::ostream& complaints);

  // Serves the host until the stream ends it by an exception (ServingEnded).
  [[noreturn]] void Serve();

 private:
  struct Command {
    std::uint8_t code;
    void (Board::*handler)();
  };

  // What more than a text answers, one row per command; the texts stand in the AnswerTable.
  static const std::vector<Command>& ApplicationCommands();
  static const std::vector<Command>& BootloaderCommands();

  void Serve(std::uint8_t byte);
  void ServeRequest(std::uint8_t code);
  bool RunCommand(std::uint8_t code);
  void MakeHostAskAgain(const AskAgain& again);
  void Give(const Answer& answer);
  void RejectRequest(std::uint8_t code);

  void StartApplication();
  void StartBootloaderOrRestore();
  void ReceiveImage();
  void Calibrate();
  void Ignore() {}

  void LoseBytesUntil(TimePoint until);
  void Enter(BoardState state);
  bool IsPingToIgnore(std::uint8_t code);
  char Judge(const Reception& reception);
  bool Keep(std::span<const std::uint8_t> image);
  void GiveVerdict();
  void AnswerRepeatedClosing(std::uint8_t first_byte);
  bool MayBeRepeatedClosing(std::uint8_t code) const;
  void Note(std::string_view event);

  ByteStream& stream_;
  BoardSettings settings_;
  FaultPlan faults_;
  ImageKeeper keeper_;
  Trace& trace_;
  std::ostream& complaints_;
  BoardPacketZero packet_zero_;
  AnswerSender answers_;
  TextSender texts_;
  AskAgainPlan ask_again_;
  BoardState state_;
  bool application_valid_ = true;
  std::uint32_t pings_to_ignore_;
  char verdict_ = 'E';
  std::optional<TimePoint> verdict_time_;  // while a closing packet may still be repeated
};

}  // namespace kvo::boardsimulator
