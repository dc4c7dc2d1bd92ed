#include "simulator/Fault.h"

#include <array>
#include <charconv>
#include <stdexcept>

namespace kvo::boardsimulator {
namespace {

constexpr std::uint32_t kLongestDelayInMs = 3'600'000;
constexpr std::uint32_t kLargestCount = 0xFFFF'FFFF;

template <typename Kind>
struct Name {
  std::string_view text;
  Kind kind;
};

constexpr std::array<Name<FaultAction>, 9> kActions{{{"nak", FaultAction::kNak},
                                                     {"c", FaultAction::kAskAgain},
                                                     {"can", FaultAction::kCancel},
                                                     {"byte", FaultAction::kByte},
                                                     {"silence", FaultAction::kSilence},
                                                     {"late", FaultAction::kLate},
                                                     {"lost-ack", FaultAction::kLostAck},
                                                     {"double-ack", FaultAction::kDoubleAck},
                                                     {"hangup", FaultAction::kHangUp}}};

constexpr std::array<Name<PlaceKind>, 6> kPlaces{{{"start", PlaceKind::kStart},
                                                  {"packet0", PlaceKind::kPacketZero},
                                                  {"block", PlaceKind::kBlock},
                                                  {"eot", PlaceKind::kEndOfFile},
                                                  {"closing", PlaceKind::kClosing},
                                                  {"verdict", PlaceKind::kVerdict}}};

// A text and what follows its separator, if the separator is there.
struct Halves {
  std::string_view before;
  std::optional<std::string_view> after;
};

Halves SplitAt(char separator, std::string_view text) {
  const std::size_t position = text.find(separator);
  if (position == std::string_view::npos) return {text, std::nullopt};
  return {text.substr(0, position), text.substr(position + 1)};
}

// Takes one fault text apart; every complaint names that text.
class Parser {
 public:
  explicit Parser(std::string_view text) : text_(text) {}

  Fault Parse() const;

 private:
  [[noreturn]] void Complain(const std::string& complaint) const {
    throw std::invalid_argument("fault '" + std::string(text_) + "': " + complaint);
  }
  template <typename Kind, std::size_t kCount>
  Kind Find(const std::array<Name<Kind>, kCount>& names, std::string_view name,
            const std::string& what) const;
  std::uint32_t Number(const std::optional<std::string_view>& digits, std::uint32_t smallest,
                       std::uint32_t largest, const std::string& what) const;
  std::uint8_t HexByte(const std::optional<std::string_view>& digits) const;
  void ParseAction(std::string_view action, Fault& fault) const;
  void ParsePlace(std::string_view place, Fault& fault) const;
  void ParseTimes(std::string_view times, Fault& fault) const;

  std::string_view text_;
};

template <typename Kind, std::size_t kCount>
Kind Parser::Find(const std::array<Name<Kind>, kCount>& names, std::string_view name,
                  const std::string& what) const {
  std::string known;
  for (const Name<Kind>& candidate : names) {
    if (candidate.text == name) return candidate.kind;
    known += (known.empty() ? "" : ", ") + std::string(candidate.text);
  }
  Complain("unknown " + what + " '" + std::string(name) + "', there are: " + known);
}

std::uint32_t Parser::Number(const std::optional<std::string_view>& digits, std::uint32_t smallest,
                             std::uint32_t largest, const std::string& what) const {
  const std::string_view text = digits.value_or("");
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || error != std::errc() || end != text.data() + text.size() ||
      number < smallest || number > largest) {
    Complain(what + " must be a number from " + std::to_string(smallest) + " to " +
             std::to_string(largest));
  }
  return number;
}

std::uint8_t Parser::HexByte(const std::optional<std::string_view>& digits) const {
  const std::string_view text = digits.value_or("");
  std::uint8_t byte = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), byte, 16);
  if (text.size() != 2 || error != std::errc() || end != text.data() + text.size()) {
    Complain("'byte' needs two hexadecimal digits, as in byte=46");
  }
  return byte;
}

void Parser::ParseAction(std::string_view action, Fault& fault) const {
  const auto [name, value] = SplitAt('=', action);
  fault.action = Find(kActions, name, "action");
  if (fault.action == FaultAction::kByte) {
    fault.byte = HexByte(value);
  } else if (fault.action == FaultAction::kLate) {
    fault.delay = std::chrono::milliseconds(
        Number(value, 0, kLongestDelayInMs, "the milliseconds of 'late'"));
  } else if (value) {
    Complain("'" + std::string(name) + "' takes no value");
  }
}

void Parser::ParsePlace(std::string_view place, Fault& fault) const {
  const auto [name, value] = SplitAt(':', place);
  fault.place.kind = Find(kPlaces, name, "place");
  if (fault.place.kind == PlaceKind::kBlock) {
    fault.place.block = Number(value, 1, kLargestCount, "the number of the block");
  } else if (value) {
    Complain("'" + std::string(name) + "' takes no number");
  }
}

void Parser::ParseTimes(std::string_view times, Fault& fault) const {
  if (times == "always") {
    fault.times = std::nullopt;
  } else {
    fault.times = Number(times, 1, kLargestCount, "if not 'always', what follows '/'");
  }
}

Fault Parser::Parse() const {
  Fault fault;
  fault.text = text_;
  const auto [action, rest] = SplitAt('@', text_);
  if (!rest) Complain("no '@', expected ACTION@PLACE[/TIMES]");
  const auto [place, times] = SplitAt('/', *rest);
  ParseAction(action, fault);
  ParsePlace(place, fault);
  if (times) ParseTimes(*times, fault);
  if (fault.action == FaultAction::kAskAgain && fault.place.kind == PlaceKind::kStart) {
    Complain("at the start 'C' is the right answer, this fault would change nothing");
  }
  return fault;
}

}  // namespace

Fault ParseFault(std::string_view text) { return Parser(text).Parse(); }

}  // namespace kvo::boardsimulator
