#include "simulator/Fault.h"

#include <array>
#include <stdexcept>

#include "simulator/TextParsing.h"

namespace kvo::boardsimulator {
namespace {

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

template <typename Kind, std::size_t kCount>
Kind Find(const std::array<Name<Kind>, kCount>& names, std::string_view name,
          const std::string& what) {
  std::string known;
  for (const Name<Kind>& candidate : names) {
    if (candidate.text == name) {
      return candidate.kind;
    }
    known += (known.empty() ? "" : ", ") + std::string(candidate.text);
  }
  throw std::invalid_argument("unknown " + what + " '" + std::string(name) +
                              "', there are: " + known);
}

std::uint8_t NeedHexByte(std::string_view digits) {
  if (const auto byte = ReadHexByte(digits)) {
    return *byte;
  }
  throw std::invalid_argument("'byte' needs two hexadecimal digits, as in byte=46");
}

void ParseAction(std::string_view action, Fault& fault) {
  const auto [name, value] = SplitAt('=', action);
  fault.action = Find(kActions, name, "action");
  if (fault.action == FaultAction::kByte) {
    fault.byte = NeedHexByte(value.value_or(""));
  } else if (fault.action == FaultAction::kLate) {
    fault.delay = std::chrono::milliseconds(
        NeedNumber(value.value_or(""), 0, kLongestTimeInMs, "the milliseconds of 'late'"));
  } else if (value) {
    throw std::invalid_argument("'" + std::string(name) + "' takes no value");
  }
}

void ParsePlace(std::string_view place, Fault& fault) {
  const auto [name, value] = SplitAt(':', place);
  fault.place.kind = Find(kPlaces, name, "place");
  if (fault.place.kind == PlaceKind::kBlock) {
    fault.place.block = NeedNumber(value.value_or(""), 1, kLargestCount, "the number of the block");
  } else if (value) {
    throw std::invalid_argument("'" + std::string(name) + "' takes no number");
  }
}

Fault Parse(std::string_view text) {
  Fault fault;
  fault.text = text;
  const auto [action, rest] = SplitAt('@', text);
  if (!rest) {
    throw std::invalid_argument("no '@', expected ACTION@PLACE[/TIMES]");
  }
  const auto [place, times] = SplitAt('/', *rest);
  ParseAction(action, fault);
  ParsePlace(place, fault);
  if (times) {
    fault.times = ReadTimes(*times);
  }
  if (fault.action == FaultAction::kAskAgain && fault.place.kind == PlaceKind::kStart) {
    throw std::invalid_argument(
        "at the start 'C' is the right answer, this fault would change nothing");
  }
  return fault;
}

}  // namespace

Fault ParseFault(std::string_view text) {
  try {
    return Parse(text);
  } catch (const std::invalid_argument& complaint) {
    throw std::invalid_argument("fault '" + std::string(text) + "': " + complaint.what());
  }
}

}  // namespace kvo::boardsimulator
