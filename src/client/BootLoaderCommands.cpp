// The requests of `BootLoader` that are answered by text: commands, the calibration run, and the
// questions about what the board is.
#include <array>
#include <chrono>
#include <iostream>
#include <span>
#include <stdexcept>
#include <thread>

#include "client/AnswerText.h"
#include "client/BootLoader.h"
#include "client/Pause.h"
#include "client/TargetProtocol.h"
#include "log/LogMess.h"
#include "serial/ISerialPort.h"

namespace kvo::bootloadertms {

// When an answer loses its CR, LF and NUL bytes: what is logged and what is returned depend on it.
enum class Cleaning { kNever, kBeforeLog, kAfterLog };

// A request of one byte and how its answer is taken.
struct Question {
  std::uint8_t request;
  Cleaning cleaning;
  std::span<const char* const> ask_again = {};  // words that mean "not now"
  std::chrono::microseconds wait = std::chrono::milliseconds(100);
};

namespace {

using namespace std::chrono_literals;
using std::chrono::system_clock;

constexpr std::chrono::milliseconds kCalibrationStartPause = 500ms;
constexpr std::chrono::milliseconds kCalibrationPause = 100ms;
constexpr std::chrono::nanoseconds kCalibrationLimit = 120s - 1ns;

constexpr const char* kBootloaderFailure =
    "Invalid response (bootloader is probably not activated or command is not implemented). "
    "Exiting";
constexpr const char* kApplicationFailure =
    "Invalid response (application is probably not activated or command is not implemented). "
    "Exiting";

// Deliberate: codes above 0xFF go out as their low byte.
Question CommandQuestion(std::uint32_t command, Cleaning cleaning) {
  return {.request = static_cast<std::uint8_t>(command), .cleaning = cleaning};
}

constexpr std::array kCannot = {"can", "Can", "CAN"};
constexpr std::array kCannotOrSignature = {"can", "Can", "CAN", "signature"};

Question About(std::uint8_t request) {
  return {.request = request, .cleaning = Cleaning::kBeforeLog, .ask_again = kCannot};
}

constexpr Question kBootStatus = {.request = target::kSafeBootStatus,
                                  .cleaning = Cleaning::kBeforeLog,
                                  .ask_again = kCannotOrSignature,
                                  .wait = 20ms};

// The record of a board that is asked its five questions by `ask`.
template <typename Ask>
DeviceInfos Interview(const Ask& ask, const std::string& boot_status) {
  return DeviceInfos{ask(About(target::kQuestionS)), ask(About(target::kQuestionH)),
                     ask(About(target::kQuestionP)), ask(About(target::kQuestionUpperV)),
                     ask(About(target::kQuestionV)), boot_status};
}

}  // namespace

std::string BootLoader::Ask(const Question& question) {
  std::string answer;
  // Deliberate: a board that always says "not now" is asked indefinitely.
  do {
    port_->WriteByte(question.request);
    Pause(question.wait);
    port_->Read(answer);
    if (question.cleaning == Cleaning::kBeforeLog) {
      answer = CleanAnswer(answer);
    }
    LogMess::GetInstance().Log(answer);
    if (question.cleaning == Cleaning::kAfterLog) {
      answer = CleanAnswer(answer);
    }
  } while (ContainsAny(answer, question.ask_again));
  return answer;
}

std::string BootLoader::AskForAValidAnswer(const Question& question, const char* failure) {
  port_->FlushInput();
  std::string answer = Ask(question);
  if (answer.empty() || Contains(answer, ";")) {
    throw std::runtime_error(failure);
  }
  return answer;
}

std::string BootLoader::SendBootloaderCommand(std::uint32_t command) {
  return Locked([&] {
    return AskForAValidAnswer(CommandQuestion(command, Cleaning::kNever), kBootloaderFailure);
  });
}

std::string BootLoader::SendApplicationCommand(std::uint32_t command) {
  const Cleaning cleaning =
      command == target::kSafeBootStatus ? Cleaning::kBeforeLog : Cleaning::kNever;
  return Locked(
      [&] { return AskForAValidAnswer(CommandQuestion(command, cleaning), kApplicationFailure); });
}

std::string BootLoader::SendCharacter(std::uint8_t character) {
  return Locked([&] {
    port_->FlushInput();
    std::string answer = Ask({.request = character, .cleaning = Cleaning::kAfterLog});
    if (answer == target::kUnknownCommand) {
      throw std::runtime_error("Invalid command. Exiting");
    }
    return answer;  // Deliberate: an empty answer is good here.
  });
}

int BootLoader::Calibrate() {
  return Locked([this] {
    port_->FlushInput();
    const system_clock::time_point start = system_clock::now();
    port_->WriteByte(target::kCalibrate);
    std::this_thread::sleep_for(kCalibrationStartPause);
    std::string answer;
    port_->Read(answer);
    if (!Contains(answer, target::kCalibrationStarted)) {
      LogMess::GetInstance().Log("No serial response");
      return 0;
    }
    std::cout << std::endl << answer << std::endl;
    return FollowCalibration(start) ? 1 : 0;
  });
}

bool BootLoader::FollowCalibration(system_clock::time_point start) {
  std::string report;
  while (system_clock::now() - start <= kCalibrationLimit) {
    std::this_thread::sleep_for(kCalibrationPause);
    port_->Read(report);
    LogMess::GetInstance().LogInline(report);
    // Deliberate: the end must stand within one read, as reports are not joined into lines.
    if (Contains(report, target::kCalibrationFinished)) {
      return true;
    }
  }
  LogMess::GetInstance().Log("");
  return false;
}

DeviceInfos BootLoader::ReadBootloaderInfos() {
  return Locked([this] {
    port_->FlushInput();
    const auto known_or_empty = [this](const Question& question) {
      std::string answer = Ask(question);
      return answer == target::kUnknownCommand ? std::string() : answer;
    };
    return Interview(known_or_empty, "BL_OK");
  });
}

DeviceInfos BootLoader::ReadApplicationInfos() {
  return Locked([this] {
    port_->FlushInput();
    const std::string boot_status = Ask(kBootStatus);
    if (boot_status.empty()) {
      throw std::runtime_error(
          "Application doesn't respond or boot status command not implemented !");
    }
    // Deliberate: "U" is an answer like any other here.
    const auto as_it_is = [this](const Question& question) { return Ask(question); };
    return Interview(as_it_is, boot_status);
  });
}

}  // namespace kvo::bootloadertms
