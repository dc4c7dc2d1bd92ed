#include "simulator/Board.h"

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

#include "simulator/PacketReader.h"
#include "simulator/RestoreSequence.h"
#include "simulator/YmodemBytes.h"

namespace kvo::boardsimulator {
namespace {

std::string NameOf(ReceptionEnd end) {
  switch (end) {
    case ReceptionEnd::kComplete:
      return "complete";
    case ReceptionEnd::kNobodySends:
      return "nobody sends";
    case ReceptionEnd::kSilence:
      return "the sender fell silent";
    case ReceptionEnd::kCancelledBySender:
      return "cancelled by the sender";
    case ReceptionEnd::kCancelledByBoard:
      break;
  }
  return "cancelled by the board";
}

}  // namespace

Board::Board(ByteStream& stream, BoardSettings settings, std::vector<Fault> faults,
             ImageKeeper keeper, Trace& trace, std::ostream& complaints)
    : stream_(stream),
      settings_(std::move(settings)),
      faults_(std::move(faults)),
      keeper_(std::move(keeper)),
      trace_(trace),
      complaints_(complaints),
      packet_zero_(settings_.names, settings_.identification),
      answers_(stream_, faults_, trace_),
      texts_(stream_, settings_.manner),
      ask_again_(settings_.ask_again),
      state_(settings_.state),
      pings_to_ignore_(settings_.silent_pings) {}

const std::vector<Board::Command>& Board::ApplicationCommands() {
  static const std::vector<Command> kCommands{
      {'K', &Board::Calibrate},
      {'Q', &Board::StartBootloaderOrRestore},
  };
  return kCommands;
}

const std::vector<Board::Command>& Board::BootloaderCommands() {
  static const std::vector<Command> kCommands{
      {'1', &Board::ReceiveImage},
      {'6', &Board::StartApplication},
      {kCan, &Board::Ignore},
  };
  return kCommands;
}

void Board::Serve() {
  Note(state_ == BoardState::kApplication ? "application runs" : "bootloader runs");
  while (true) {
    if (const auto byte = stream_.ReadByte(kNever)) {
      Serve(*byte);
    }
  }
}

void Board::Serve(std::uint8_t byte) {
  if (MayBeRepeatedClosing(byte)) {
    return AnswerRepeatedClosing(byte);
  }
  verdict_time_.reset();
  ServeRequest(byte);
}

void Board::ServeRequest(std::uint8_t code) {
  if (IsPingToIgnore(code)) {
    return;
  }
  if (const auto again = ask_again_.Take(state_, code)) {
    return MakeHostAskAgain(*again);
  }
  if (const auto answer = settings_.answers.Find(state_, code)) {
    return Give(*answer);
  }
  if (settings_.answers.IsMadeUnknown(code) || !RunCommand(code)) {
    RejectRequest(code);
  }
}

bool Board::IsPingToIgnore(std::uint8_t code) {
  if (code != '0' || pings_to_ignore_ == 0) {
    return false;
  }
  --pings_to_ignore_;
  return true;
}

void Board::MakeHostAskAgain(const AskAgain& again) {
  Note("ask again " + again.text);
  texts_.AnswerLine(again.word);
}

void Board::Give(const Answer& answer) {
  if (answer.line_end_follows) {
    texts_.AnswerLine(answer.text);
  } else {
    texts_.Answer(answer.text);
  }
}

bool Board::RunCommand(std::uint8_t code) {
  const bool application_runs = state_ == BoardState::kApplication;
  for (const Command& command : application_runs ? ApplicationCommands() : BootloaderCommands()) {
    if (command.code != code) {
      continue;
    }
    (this->*command.handler)();
    return true;
  }
  return false;
}

void Board::RejectRequest(std::uint8_t code) {
  Note("unknown code " + NameOfCode(code));
  if (state_ == BoardState::kBootloader) {
    texts_.AnswerLine("U");
  }
}

void Board::StartApplication() {
  if (!application_valid_) {
    return Note("no valid application to start");
  }
  LoseBytesUntil(stream_.Now() + settings_.switch_time);
  Enter(BoardState::kApplication);
  Note("application started");
}

// What follows the 'Q' tells whether it asks for the bootloader or for the default parameters.
void Board::StartBootloaderOrRestore() {
  const TimePoint switched = stream_.Now() + settings_.switch_time;
  RestoreSequence restore(stream_, trace_);
  if (restore.Follow(switched) == RestoreStage::kComplete) {
    return;
  }
  const bool other_byte_is_lost = stream_.Now() < switched;
  LoseBytesUntil(switched);
  Note("bootloader started");
  if (restore.Follow(kNever) == RestoreStage::kComplete) {
    return Note("application runs again");
  }
  Enter(BoardState::kBootloader);
  if (restore.OtherByte() && !other_byte_is_lost) {
    Serve(*restore.OtherByte());
  }
}

void Board::LoseBytesUntil(TimePoint until) {
  if (stream_.Now() < until) {
    stream_.DiscardUntil(until);
  }
}

void Board::Enter(BoardState state) {
  state_ = state;
  pings_to_ignore_ = settings_.silent_pings;
}

void Board::Calibrate() { Calibration(stream_, texts_, trace_, settings_.calibration).Run(); }

void Board::ReceiveImage() {
  Note("receiving an image");
  YmodemReceiver receiver(stream_, packet_zero_, answers_, trace_, settings_.times);
  const Reception reception = receiver.Receive();
  if (reception.blocks > 0) {
    application_valid_ = false;
  }
  Note("reception ended: " + NameOf(reception.end) + ", " + std::to_string(reception.image.size()) +
       " bytes");
  if (reception.end != ReceptionEnd::kComplete) {
    return;
  }
  verdict_ = Judge(reception);
  GiveVerdict();
}

char Board::Judge(const Reception& reception) {
  return reception.whole && Keep(reception.image) ? 'O' : 'E';
}

bool Board::Keep(std::span<const std::uint8_t> image) {
  try {
    keeper_(image);
    return true;
  } catch (const std::exception& failure) {
    complaints_ << failure.what() << std::endl;
    return false;
  }
}

void Board::GiveVerdict() {
  const auto answer = static_cast<std::uint8_t>(verdict_);
  const AnswerOutcome outcome = answers_.Answer({PlaceKind::kVerdict}, std::span(&answer, 1));
  if (outcome == AnswerOutcome::kTaken && verdict_ == 'O') {
    application_valid_ = true;
  }
  verdict_time_ = stream_.Now();
}

bool Board::MayBeRepeatedClosing(std::uint8_t code) const {
  return code == kSoh && verdict_time_ && stream_.Now() < *verdict_time_ + settings_.times.silence;
}

// A sender that missed the answer to its closing packet sends it again, and has missed the verdict
// with it.
void Board::AnswerRepeatedClosing(std::uint8_t first_byte) {
  constexpr std::uint8_t kAcknowledge = kAck;
  PacketReader reader(stream_, settings_.times.longest_gap);
  const SenderEvent event = reader.ReadPacketAfter(first_byte);
  if (event.kind != SenderEventKind::kPacket || event.number != 0) {
    return;
  }
  if (!packet_zero_.IsClosing(event.data)) {
    return;
  }
  if (answers_.Answer({PlaceKind::kClosing}, std::span(&kAcknowledge, 1)) ==
      AnswerOutcome::kTaken) {
    GiveVerdict();
  }
}

void Board::Note(std::string_view event) { trace_.Event(event, stream_.Now()); }

}  // namespace kvo::boardsimulator
