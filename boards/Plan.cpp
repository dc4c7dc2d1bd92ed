#include "boards/Plan.h"

#include <kvo/bootloadertms/AppInfos.h>
#include <kvo/bootloadertms/BoardDefinition.h>
#include <kvo/bootloadertms/ImageFile.h>
#include <kvo/bootloadertms/PacketZero.h>
#include <kvo/bootloadertms/YmodemProtocol.h>

#include <ratio>
#include <system_error>
#include <utility>

#include "boards/Printable.h"

namespace kvo::boards {

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using Microseconds = std::chrono::duration<std::int64_t, std::micro>;
using TenthsOfASecond = std::chrono::duration<std::int64_t, std::deci>;

// A block with its frame, as it goes over the line: header, numbers, data and checksum, and per
// byte a start and a stop bit.
constexpr std::int64_t kBlockBits = std::int64_t{3 + 1024 + 2} * 10;

// What an answer may take besides its block's time on the line.
constexpr milliseconds kAnswerTime = 100ms;
// What a serial server and the network before it add.
constexpr milliseconds kNetworkTime = 1000ms;

// Calling the bootloader: the application hands over, the cancel is understood, and the bootloader
// is asked for.
constexpr milliseconds kHandOver = 1000ms;
constexpr milliseconds kCancel = 100ms;
constexpr int kBootloaderPings = 9;
// A later attempt calls more than once: a board may have to give up the last upload first.
constexpr int kCalls = 3;
// After each ping's answer.
constexpr milliseconds kPingPause = 50ms;

// Until a board that erases its flash first has answered packet 0.
constexpr milliseconds kPacketZero = 10s;
// To the end of the image (twice), the closing packet and the verdict.
constexpr int kClosingAnswers = 4;

// Starting the application: the bootloader hands over, and the application is asked for.
constexpr milliseconds kStart = 1000ms;
constexpr int kApplicationPings = 60;

// How many times the image's time on the line the transfer may take.
constexpr int kSlowness = 3;

// Asking a board what it is.
constexpr milliseconds kInfoDeadline = 15s;

// The most that the three texts of a record may have together: with a "|" after each of them and a
// blank after each 31 characters they fill packet 0.
constexpr const char* kRecordLimit = "104";

Microseconds TimeOnLine(std::uint64_t blocks, std::uint32_t baud_rate) {
  const std::uint64_t bit_microseconds = blocks * kBlockBits * std::micro::den;
  return Microseconds(static_cast<std::int64_t>((bit_microseconds + baud_rate - 1) / baud_rate));
}

std::uint64_t BlocksOf(std::uint64_t bytes) {
  constexpr std::uint64_t kBlockSize = bootloadertms::ymodem::kBlockSize;
  return (bytes + kBlockSize - 1) / kBlockSize;
}

[[noreturn]] void Refuse(const std::string& text) { throw WrongPlan(Printable(text)); }

void ReadImage(const CommandLine& command_line, bootloadertms::ImageFile& image) {
  const std::string& path = command_line.image;
  try {
    image.Read(path);
  } catch (const std::runtime_error& mistake) {
    Refuse(mistake.what());
  }
  if (image.GetLength() == 0) {
    Refuse(path + " is empty");
  }
  if (command_line.raw) {
    return;
  }
  const auto* content = reinterpret_cast<const char*>(image.GetContent());
  const std::string format = LooksLike({content, image.GetLength()});
  if (!format.empty()) {
    Refuse(path + " looks like " + format + ", not a raw binary; --raw sends it anyway");
  }
}

void DescribeByRecord(const bootloadertms::ImageFile& image, Plan& plan) {
  const std::vector<std::string>& record = plan.command_line.record;
  const bootloadertms::AppInfos infos(record.at(0), record.at(1), record.at(2));
  try {
    bootloadertms::BuildPacketZero(image.GetLength(), infos);
  } catch (const std::runtime_error&) {
    Refuse(std::string("the record is too long: F1, F2 and F3 can have ") + kRecordLimit +
           " characters in total");
  }
  plan.board = infos.GetF1();
  plan.application = infos.GetF2();
}

void DescribeByName(const bootloadertms::ImageFile& image, Plan& plan) {
  try {
    const bootloadertms::BoardDefinition board(image.GetFileName());
    plan.board = board.GetBoardName();
    plan.application = board.GetApplicationName();
  } catch (const std::runtime_error&) {
    Refuse(plan.command_line.image +
           ": its name has no board key, such as \"tv\" in fw_tv.bin; --record describes an image "
           "with any name");
  }
}

void CheckImage(Plan& plan) {
  std::error_code none;  // what can't be read is told next
  plan.image_written = std::filesystem::last_write_time(plan.command_line.image, none);
  bootloadertms::ImageFile image;
  ReadImage(plan.command_line, image);
  plan.bytes = image.GetLength();
  if (plan.command_line.record.empty()) {
    DescribeByName(image, plan);
  } else {
    DescribeByRecord(image, plan);
  }
}

void RequireDifferentPorts(const std::vector<PortAddress>& ports) {
  for (std::size_t i = 0; i < ports.size(); ++i) {
    for (std::size_t j = i + 1; j < ports.size(); ++j) {
      if (IsSamePort(ports[i], ports[j])) {
        Refuse(ports[i].name + " and " + ports[j].name + " are the same port");
      }
    }
  }
}

}  // namespace

Plan MakePlan(CommandLine command_line) {
  Plan plan;
  plan.command_line = std::move(command_line);
  if (plan.command_line.action != Action::kInfo) {
    CheckImage(plan);
  }
  Resolve(plan.command_line.ports);
  RequireDifferentPorts(plan.command_line.ports);
  for (const PortAddress& port : plan.command_line.ports) {
    plan.assignments.push_back(Assign(plan, port));
  }
  return plan;
}

Assignment Assign(const Plan& plan, const PortAddress& port) {
  const CommandLine& given = plan.command_line;
  Assignment assignment;
  assignment.port = port;
  assignment.answer_timeout =
      given.answer_timeout.value_or(DefaultAnswerTimeout(given.baud_rate, port.is_tcp));
  assignment.deadline = given.deadline.value_or(
      given.action == Action::kInfo
          ? kInfoDeadline
          : DefaultDeadline(plan.bytes, given.baud_rate, assignment.answer_timeout));
  return assignment;
}

BoardStatus BeforeTheFirstAttempt(const Plan& plan, const Assignment& assignment) {
  BoardStatus status;
  status.port = assignment.port.name;
  status.log_path = assignment.log_path;
  status.board = plan.board;
  status.application = plan.application;
  status.bytes = plan.bytes;
  return status;
}

milliseconds DefaultAnswerTimeout(std::uint32_t baud_rate, bool is_tcp) {
  const milliseconds on_a_line =
      std::chrono::ceil<TenthsOfASecond>(kAnswerTime + TimeOnLine(1, baud_rate));
  return is_tcp ? on_a_line + kNetworkTime : on_a_line;
}

milliseconds DefaultDeadline(std::uint64_t bytes, std::uint32_t baud_rate,
                             milliseconds answer_timeout) {
  const auto blocks = static_cast<std::int64_t>(BlocksOf(bytes));
  const milliseconds ping = answer_timeout + kPingPause;
  const milliseconds calling = kCalls * (kHandOver + kCancel + kBootloaderPings * ping);
  const milliseconds answers = kPacketZero + (blocks + kClosingAnswers) * answer_timeout;
  const milliseconds starting = kStart + kApplicationPings * ping;
  const Microseconds on_the_line = kSlowness * TimeOnLine(BlocksOf(bytes), baud_rate);
  return std::chrono::ceil<std::chrono::seconds>(calling + answers + starting + on_the_line);
}

}  // namespace kvo::boards
