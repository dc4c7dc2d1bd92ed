#include "tables/Operations.h"

#include <cerrno>
#include <new>
#include <stdexcept>
#include <system_error>
#include <typeinfo>

namespace kvo::bootloadertms::testing {

namespace {

// Each too long for a string to hold without an allocation.
constexpr auto kF1 = "the first text of a record";
constexpr auto kF2 = "the second text of a record";
constexpr auto kF3 = "the third text of a record";

// Made before any run, so that it is no allocation of one.
const AppInfos kRecord(kF1, kF2, kF3);

void Append(std::string& result, const DeviceInfos& infos) {
  for (const std::string* field : {&infos.GetAnswerS(), &infos.GetAnswerH(), &infos.GetAnswerP(),
                                   &infos.GetAnswerUpperV(), &infos.GetAnswerV()}) {
    result.append(*field).append("\n");
  }
  result.append(infos.GetBootStatus());
}

template <typename Error>
void AppendType(std::string& outcome, const Error& error, const char* name) {
  outcome.assign(typeid(error) == typeid(Error) ? name : "another ").append(" ");
}

const char* NameOf(const std::error_code& code) {
  if (code == std::error_code(EFAULT, std::system_category())) {
    return "EFAULT";
  }
  return code == std::errc::resource_unavailable_try_again ? "EAGAIN" : "of another number";
}

template <typename Call>
void OutcomeInto(std::string& outcome, const Call& call) {
  try {
    outcome.assign("returns ");
    call();
  } catch (const std::system_error& error) {
    AppendType(outcome, error, "system_error");
    outcome.append(NameOf(error.code()));
  } catch (const std::runtime_error& error) {
    AppendType(outcome, error, "runtime_error");
    outcome.append(error.what());
  } catch (const std::bad_alloc&) {
    outcome.assign("bad_alloc");
  } catch (const EndOfRun&) {
    outcome.assign("ended from outside");
  }
}

// For short rows.
using Client = IBootLoader;
using Model = ClientModel;
using Args = Arguments;
using Result = std::string;

const std::vector<Operation> kOperations = {
    {"PingBootloader",
     [](Client& client, const Args&, Result& result) {
       result += std::to_string(client.PingBootloader());
     },
     [](Model& model, const Args&) { return model.PingBootloader(); }},
    {"PingApplication",
     [](Client& client, const Args&, Result& result) {
       result += std::to_string(client.PingApplication());
     },
     [](Model& model, const Args&) { return model.PingApplication(); }, true},
    {"Calibrate",
     [](Client& client, const Args&, Result& result) {
       result += std::to_string(client.Calibrate());
     },
     [](Model& model, const Args&) { return model.Calibrate(); }, true},
    {"ActivateBootloader",
     [](Client& client, const Args&, Result&) { client.ActivateBootloader(); },
     [](Model& model, const Args&) { return model.ActivateBootloader(); }, true},
    {"ActivateApplication",
     [](Client& client, const Args&, Result&) { client.ActivateApplication(); },
     [](Model& model, const Args&) { return model.ActivateApplication(); }},
    {"SendBootloaderCommand",
     [](Client& client, const Args& args, Result& result) {
       result += client.SendBootloaderCommand(args.code);
     },
     [](Model& model, const Args& args) { return model.SendBootloaderCommand(args.code); }, false,
     0x37},
    {"SendApplicationCommand",
     [](Client& client, const Args& args, Result& result) {
       result += client.SendApplicationCommand(args.code);
     },
     [](Model& model, const Args& args) { return model.SendApplicationCommand(args.code); }, true,
     0x62},
    {"UploadImage",
     [](Client& client, const Args& args, Result&) { client.UploadImage(args.image_path); },
     [](Model& model, const Args& args) {
       return model.Upload({PacketZeroOfBoard(args.image.size(), *BoardOfKey("tv")), args.image});
     }},
    {"UploadImageWithInfos",
     [](Client& client, const Args& args, Result&) {
       client.UploadImageWithInfos(args.image_path, kRecord);
     },
     [](Model& model, const Args& args) {
       return model.Upload({PacketZeroOfRecord(args.image.size(), kF1, kF2, kF3), args.image});
     }},
    {"ReadBootloaderInfos",
     [](Client& client, const Args&, Result& result) {
       Append(result, client.ReadBootloaderInfos());
     },
     [](Model& model, const Args&) { return model.ReadBootloaderInfos(); }},
    {"ReadApplicationInfos",
     [](Client& client, const Args&, Result& result) {
       Append(result, client.ReadApplicationInfos());
     },
     [](Model& model, const Args&) { return model.ReadApplicationInfos(); }, true},
    {"RestoreDefaultParameters",
     [](Client& client, const Args&, Result&) { client.RestoreDefaultParameters(); },
     [](Model& model, const Args&) { return model.RestoreDefaultParameters(); }, true},
    {"SendCharacter",
     [](Client& client, const Args& args, Result& result) {
       result += client.SendCharacter(static_cast<std::uint8_t>(args.code));
     },
     [](Model& model, const Args& args) {
       return model.SendCharacter(static_cast<std::uint8_t>(args.code));
     },
     false, 'h'},
    {"SetVerbose", [](Client& client, const Args&, Result&) { client.SetVerbose(true); },
     [](Model&, const Args&) { return Result(); }},
    {"SetTransferCallback",
     [](Client& client, const Args&, Result&) {
       client.SetTransferCallback([](bool /*failed*/, double /*fraction*/) {});
     },
     [](Model&, const Args&) { return Result(); }},
};

}  // namespace

const std::vector<Operation>& Operations() { return kOperations; }

bool IsAnUpload(const Operation& operation) { return operation.name.starts_with("Upload"); }

bool IsASetter(const Operation& operation) { return operation.name.starts_with("Set"); }

void RunInto(std::string& outcome, const Operation& operation, const Arguments& arguments,
             IBootLoader& client) {
  OutcomeInto(outcome, [&] { operation.run(client, arguments, outcome); });
}

std::string ModelOutcome(const Operation& operation, const Arguments& arguments,
                         ClientModel& model) {
  std::string outcome;
  OutcomeInto(outcome, [&] { outcome += operation.model(model, arguments); });
  return outcome;
}

}  // namespace kvo::bootloadertms::testing
