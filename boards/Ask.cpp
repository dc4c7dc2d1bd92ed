#include <kvo/bootloadertms/TargetProtocol.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include "boards/Tasks.h"
#include "boards/ports/BoardPort.h"

namespace kvo::boards {

namespace {

using namespace std::chrono_literals;
namespace target = bootloadertms::target;
using bootloadertms::DeviceInfos;
using bootloadertms::IBootLoader;

constexpr std::chrono::milliseconds kSilentAfter = 3s;
constexpr std::uint32_t kApplicationInformation = 0x39;  // BL_CMD_APP_INFO

// The answer to a byte, without its line end; empty, too, when the board says that it doesn't know
// it.
std::string AnswerTo(std::uint8_t question, IBootLoader& client) {
  try {
    return client.SendCharacter(question);
  } catch (const PortFailure&) {
    throw;
  } catch (const std::system_error&) {
    throw;
  } catch (const std::runtime_error&) {
    return "";
  }
}

void TellAnswer(const Tell& tell, Field field, const std::string& text) {
  Event event;
  event.kind = EventKind::kAnswer;
  event.field = field;
  event.SetText(text);
  tell(event);
}

enum class Program { kNone, kBootloader, kApplication };

// Both answer the ping, each in its own way. As a ping on a slow line or over TCP takes seconds, it
// isn't begun when most of it would be too late.
Program WhoAnswers(IBootLoader& client) {
  const Clock::time_point end = Clock::now() + kSilentAfter;
  Clock::time_point asked;
  do {
    asked = Clock::now();
    const std::string answer = AnswerTo(target::kPing, client);
    if (answer.find(target::kApplicationAlive) != std::string::npos) {
      return Program::kApplication;
    }
    if (!answer.empty() && static_cast<std::uint8_t>(answer.front()) == target::kBootloaderAlive) {
      return Program::kBootloader;
    }
  } while (Clock::now() + (Clock::now() - asked) / 2 < end);
  return Program::kNone;
}

void TellAnswers(const Tell& tell, const DeviceInfos& infos) {
  TellAnswer(tell, Field::kSerial, infos.GetAnswerS());
  TellAnswer(tell, Field::kHardware, infos.GetAnswerH());
  TellAnswer(tell, Field::kProduct, infos.GetAnswerP());
  TellAnswer(tell, Field::kVersionUpper, infos.GetAnswerUpperV());
  TellAnswer(tell, Field::kVersionLower, infos.GetAnswerV());
}

void AskBootloader(IBootLoader& client, const Tell& tell) {
  TellAnswer(tell, Field::kState, "bootloader");
  TellAnswers(tell, client.ReadBootloaderInfos());
  TellAnswer(tell, Field::kApplicationInformation, AnswerTo(kApplicationInformation, client));
}

// An application that doesn't know its boot status is asked the rest all the same.
DeviceInfos InfosWithoutBootStatus(IBootLoader& client) {
  const auto ask = [&client](std::uint8_t question) { return AnswerTo(question, client); };
  return DeviceInfos{ask(target::kQuestionS),      ask(target::kQuestionH), ask(target::kQuestionP),
                     ask(target::kQuestionUpperV), ask(target::kQuestionV), ""};
}

DeviceInfos InfosOfApplication(IBootLoader& client) {
  try {
    return client.ReadApplicationInfos();
  } catch (const PortFailure&) {
    throw;
  } catch (const std::system_error&) {
    throw;
  } catch (const std::runtime_error&) {
    return InfosWithoutBootStatus(client);
  }
}

void AskApplication(IBootLoader& client, const Tell& tell) {
  TellAnswer(tell, Field::kState, "application");
  const DeviceInfos infos = InfosOfApplication(client);
  TellAnswers(tell, infos);
  TellAnswer(tell, Field::kBootStatus, infos.GetBootStatus());
}

}  // namespace

Event Ask(IBootLoader& client, const Tell& tell) {
  Event event;
  event.kind = EventKind::kStep;
  event.step = Step::kAsking;
  tell(event);
  event.kind = EventKind::kFinished;
  event.outcome = Outcome::kAnswered;
  switch (WhoAnswers(client)) {
    case Program::kBootloader:
      AskBootloader(client, tell);
      break;
    case Program::kApplication:
      AskApplication(client, tell);
      break;
    case Program::kNone:
      event.outcome = Outcome::kSilent;
      break;
  }
  return event;
}

}  // namespace kvo::boards
