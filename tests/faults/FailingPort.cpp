#include "faults/FailingPort.h"

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "support/HeldLocks.h"
#include "tables/Wire.h"

namespace kvo::bootloadertms::testing {

namespace {

constexpr std::size_t kPatience = 5000;  // in calls
constexpr std::size_t kLongestRun = 16384;

[[noreturn]] void ThrowSystemError() { throw std::system_error(EFAULT, std::system_category()); }

[[noreturn]] void ThrowNotOpen() {
  throw std::runtime_error("Called but state != open. Call open() first");
}

// `calls` and `written` have capacity enough; growing would be an allocation of the test's.
void Note(std::string& text, char letter) {
  if (text.size() == text.capacity()) {
    throw std::length_error("a run of the test is too long");
  }
  text.push_back(letter);
}

}  // namespace

PortTrouble::PortTrouble(std::size_t first, Failure way, bool lasts)
    : failure(way), first_call(first), lasting(lasts) {
  calls.reserve(kLongestRun);
  written.reserve(kLongestRun);
}

int FailingPort::Close() {
  ++trouble_.closes;
  return port_.Close();
}

void FailingPort::Read(std::string& data) {
  if (!GoesWrong('R')) {
    port_.Read(data);
    return;
  }
  data.clear();
  if (trouble_.failure != Failure::kSilent) {
    ThrowSystemError();
  }
}

void FailingPort::WriteByte(std::uint8_t byte) {
  if (GoesWrong('W') && trouble_.failure != Failure::kSilent) {
    trouble_.failure == Failure::kClosed ? ThrowNotOpen() : ThrowSystemError();
  }
  Note(trouble_.written, static_cast<char>(byte));
  port_.WriteByte(byte);
}

std::uint8_t FailingPort::ReadByte() {
  if (!GoesWrong('B')) {
    return port_.ReadByte();
  }
  if (trouble_.failure == Failure::kClosed) {
    ThrowNotOpen();
  }
  return trouble_.failure == Failure::kSilent ? 0x00 : 0xFF;
}

int FailingPort::FlushInput() {
  if (GoesWrong('F') && trouble_.failure != Failure::kSilent) {
    return -1;
  }
  return port_.FlushInput();
}

bool FailingPort::GoesWrong(char letter) {
  Note(trouble_.calls, letter);
  if (HeldLocks() != 1) {
    ++trouble_.calls_without_lock;
  }
  const std::size_t call = trouble_.calls.size();
  if (call > trouble_.first_call + kPatience) {
    throw EndOfRun();
  }
  return trouble_.first_call != 0 &&
         (trouble_.lasting ? call >= trouble_.first_call : call == trouble_.first_call);
}

}  // namespace kvo::bootloadertms::testing
