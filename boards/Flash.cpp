#include <kvo/bootloadertms/AppInfos.h>
#include <kvo/bootloadertms/TargetProtocol.h>
#include <kvo/bootloadertms/YmodemProtocol.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

#include "boards/Diagnosis.h"
#include "boards/Tasks.h"
#include "boards/ports/BoardPort.h"

namespace kvo::boards {

namespace {

namespace target = bootloadertms::target;
namespace ymodem = bootloadertms::ymodem;
using bootloadertms::IBootLoader;
using Stage = TransferWatch::Stage;

// A board that was left in a transfer waits some seconds for the rest before its bootloader
// answers.
constexpr int kCallsOfARepeatedAttempt = 3;

// The library's answer to a board that doesn't do as it should is an exception with a text; those
// of the port pass. The text of the one that came is kept in `failure`.
template <typename Operation>
bool Succeeds(const Operation& operation, std::string& failure) {
  try {
    operation();
    return true;
  } catch (const PortFailure&) {
    throw;
  } catch (const std::system_error&) {
    throw;
  } catch (const std::runtime_error& error) {
    failure = error.what();
    return false;
  }
}

void TellStep(const Tell& tell, const TransferWatch& watch, Step step) {
  Event event;
  event.kind = EventKind::kStep;
  event.step = step;
  event.blocks = watch.GetPosition().blocks;
  tell(event);
}

void Cancel(TransferWatch& watch) {
  watch.WriteByte(target::kCancel);
  watch.WriteByte(target::kCancel);
}

// Each call by `ActivateBootloader` ends a transfer that the board may still wait in.
bool CallBootloader(bool from_the_application, bool is_repeated, IBootLoader& client,
                    TransferWatch& watch) {
  std::string ignored;
  for (int calls = is_repeated ? kCallsOfARepeatedAttempt : 1; calls > 0; --calls) {
    if (is_repeated && !from_the_application) {
      Cancel(watch);
    }
    if (from_the_application ? Succeeds([&] { client.ActivateBootloader(); }, ignored)
                             : client.PingBootloader() != 0) {
      return true;
    }
  }
  return false;
}

// The library reads the image anew for each upload; all boards are to get the one that was checked.
void RequireImageOf(const Plan& plan) {
  std::error_code none;
  const std::filesystem::path image = plan.command_line.image;
  if (std::filesystem::file_size(image, none) != plan.bytes ||
      std::filesystem::last_write_time(image, none) != plan.image_written) {
    throw std::runtime_error("the image has changed since it was checked");
  }
}

void Upload(const Plan& plan, IBootLoader& client) {
  RequireImageOf(plan);
  const CommandLine& command_line = plan.command_line;
  const std::vector<std::string>& record = command_line.record;
  if (record.empty()) {
    client.UploadImage(command_line.image);
  } else {
    client.UploadImageWithInfos(command_line.image,
                                bootloadertms::AppInfos(record.at(0), record.at(1), record.at(2)));
  }
}

std::string Shown(std::uint8_t byte) {
  std::array<char, 5> text{};
  std::snprintf(text.data(), text.size(), "0x%02X", byte);
  return text.data();
}

std::string WrongAnswer(const TransferWatch& watch, std::chrono::milliseconds answer_timeout) {
  const std::optional<std::uint8_t> answer = watch.GetAnswer();
  if (!answer) {
    return "no answer within " + std::to_string(answer_timeout.count()) + " ms";
  }
  if (answer == target::kCancel) {
    return "the board ended the transfer";
  }
  return "a wrong answer (" + Shown(*answer) + ")";
}

// How the result of the whole is told; the text is its message.
Event Finished(const TransferWatch& watch, Outcome outcome) {
  const TransferWatch::Position position = watch.GetPosition();
  Event event;
  event.kind = EventKind::kFinished;
  event.outcome = outcome;
  event.block = position.block;
  event.blocks = position.blocks;
  event.bytes_sent = position.bytes_sent;
  return event;
}

Event Failed(const TransferWatch& watch, Reason reason, const std::string& message) {
  Event event = Finished(watch, Outcome::kFailed);
  event.reason = reason;
  event.SetText(message);
  return event;
}

Event Broken(const TransferWatch& watch, const std::string& cause) {
  const TransferWatch::Position position = watch.GetPosition();
  Event event = Failed(watch, Reason::kBroken, InTransfer(position.block, position.blocks, cause));
  event.step = Step::kTransfer;
  return event;
}

Event WhyUploadFailed(const TransferWatch& watch, std::chrono::milliseconds answer_timeout,
                      const std::string& failure) {
  const std::optional<std::uint8_t> answer = watch.GetAnswer();
  switch (watch.GetStage()) {
    case Stage::kNone:  // the image's fault
      return Broken(watch, failure);
    case Stage::kStart:
      return Failed(watch, Reason::kRefused, "the bootloader can't receive an image (it says F)");
    case Stage::kPacketZero:
      if (answer == target::kCancel || answer == ymodem::kNak) {
        return Failed(watch, Reason::kRefused,
                      "the bootloader refuses the image: it is for another board or application");
      }
      return Broken(watch, WrongAnswer(watch, answer_timeout));
    case Stage::kOver:
      return Failed(watch, Reason::kRejected,
                    "the bootloader rejects the image that it has received (" + Shown(*answer) +
                        "): the board has no valid application, flash it again");
    default:
      return Broken(watch, WrongAnswer(watch, answer_timeout));
  }
}

// The bootloader waits for the rest otherwise, and answers nothing meanwhile.
void EndTransfer(TransferWatch& watch) {
  const bool has_ended =
      !watch.IsInTransfer() || watch.IsCancelled() || watch.GetAnswer() == target::kCancel ||
      (watch.GetStage() == Stage::kStart && watch.GetAnswer() == ymodem::kReceiveFailed);
  if (!has_ended) {
    Cancel(watch);
  }
}

}  // namespace

Event Flash(const Plan& plan, bool is_repeated, std::chrono::milliseconds answer_timeout,
            IBootLoader& client, TransferWatch& watch, const Tell& tell) {
  const CommandLine& command_line = plan.command_line;
  TellStep(tell, watch, Step::kSwitching);
  if (!CallBootloader(command_line.switch_to_bootloader, is_repeated, client, watch)) {
    return Failed(watch, Reason::kSilent, "no bootloader answers: nothing of the image was sent");
  }

  TellStep(tell, watch, Step::kTransfer);
  std::string failure;
  if (!Succeeds([&] { Upload(plan, client); }, failure)) {
    const Event why = WhyUploadFailed(watch, answer_timeout, failure);
    EndTransfer(watch);
    return why;
  }

  if (command_line.start_application) {
    TellStep(tell, watch, Step::kStarting);
    if (!Succeeds([&] { client.ActivateApplication(); }, failure)) {
      return Failed(watch, Reason::kNotStarted, "flashed, but the application doesn't answer");
    }
  }
  Event event = Finished(watch, Outcome::kFlashed);
  event.transfer_seconds = watch.GetTransferTime().count();
  return event;
}

}  // namespace kvo::boards
