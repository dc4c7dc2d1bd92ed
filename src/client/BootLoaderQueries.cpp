// The questions of `BootLoader` about what the board is.
#include <array>
#include <stdexcept>

#include "client/BootLoader.h"
#include "client/TargetProtocol.h"

namespace kvo::bootloadertms {

namespace {

constexpr std::array kCannot = {"can", "Can", "CAN"};
constexpr std::array kCannotOrSignature = {"can", "Can", "CAN", "signature"};

Question About(std::uint8_t request) {
  return {.request = request, .cleaning = Cleaning::kBeforeLog, .ask_again = kCannot};
}

constexpr Question kBootStatus = {.request = target::kSafeBootStatus,
                                  .cleaning = Cleaning::kBeforeLog,
                                  .ask_again = kCannotOrSignature,
                                  .wait_us = 20'000};

// The record of a board that is asked its five questions by `ask`.
template <typename Ask>
DeviceInfos Interview(const Ask& ask, const std::string& boot_status) {
  return DeviceInfos{ask(About(target::kQuestionS)), ask(About(target::kQuestionH)),
                     ask(About(target::kQuestionP)), ask(About(target::kQuestionUpperV)),
                     ask(About(target::kQuestionV)), boot_status};
}

}  // namespace

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
    // "U" is an answer like any other here; meant so.
    const auto as_it_is = [this](const Question& question) { return Ask(question); };
    return Interview(as_it_is, boot_status);
  });
}

}  // namespace kvo::bootloadertms
