// The one-byte commands of `BootLoader` and the calibration run.
#include <unistd.h>

#include <chrono>
#include <iostream>
#include <stdexcept>
#include <thread>

#include "client/BootLoader.h"
#include "client/CleanAnswer.h"
#include "client/TargetProtocol.h"
#include "log/LogMess.h"

namespace kvo::bootloadertms {

namespace {

using std::chrono::system_clock;

constexpr std::chrono::milliseconds kCalibrationStartPause{500};
constexpr std::chrono::milliseconds kCalibrationPause{100};
constexpr std::chrono::nanoseconds kCalibrationLimit{119'999'999'999};

constexpr const char* kBootloaderFailure =
    "Invalid response (bootloader is probably not activated or command is not implemented). "
    "Exiting";
constexpr const char* kApplicationFailure =
    "Invalid response (application is probably not activated or command is not implemented). "
    "Exiting";

// Codes above 0xFF go out as their low byte; meant so.
Question CommandQuestion(std::uint32_t command, Cleaning cleaning) {
  return {.request = static_cast<std::uint8_t>(command), .cleaning = cleaning};
}

}  // namespace

std::string BootLoader::Ask(const Question& question) {
  std::string answer;
  // A board that always says "not now" is asked for ever; meant so.
  do {
    port_->WriteByte(question.request);
    ::usleep(question.wait_us);
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
    return answer;  // An empty answer is good here; meant so.
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
    // The end must stand within one read: reports are not joined to lines; meant so.
    if (Contains(report, target::kCalibrationFinished)) {
      return true;
    }
  }
  LogMess::GetInstance().Log("");
  return false;
}

}  // namespace kvo::bootloadertms
