#include "program/boards/WatchProgram.h"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <set>
#include <sstream>
#include <stdexcept>

namespace kvo::bootloadertms::testing {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::seconds kNothingWillComeAfter = 60s;

// Those of a process in a set of /proc: "SigBlk", blocked, or "ShdPnd", sent and not yet taken.
bool HasSignal(pid_t process, const std::string& set, int signal) {
  std::istringstream status(ReadFile("/proc/" + std::to_string(process) + "/status"));
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(set + ":")) {
      const std::uint64_t signals = std::stoull(line.substr(set.size() + 1), nullptr, 16);
      return (signals >> static_cast<unsigned>(signal - 1) & 1U) != 0;
    }
  }
  return false;
}

std::string ResultOf(const Json& finished) { return finished.value("result", ""); }

std::string HowItEnded(const Json& finished) {
  return finished.value("reason", ResultOf(finished));
}

}  // namespace

void WatchProgram::Plug(const std::string& name, const std::string& device) const {
  const std::filesystem::path port = ports_.Path(name);
  std::filesystem::create_directories(port.parent_path());
  std::filesystem::create_symlink(device, port);
}

void WatchProgram::Unplug(const std::string& name) const {
  std::filesystem::remove(ports_.Path(name));
}

void WatchProgram::PlugUntilBegun(const std::string& name, const std::string& device) {
  const auto has_begun = [&] { return Count("started", name) > 0; };
  const auto deadline = std::chrono::steady_clock::now() + kNothingWillComeAfter;
  do {
    Unplug(name);
    Plug(name, device);
  } while (!program_->WaitUntil(has_begun, 300ms) && std::chrono::steady_clock::now() < deadline);
  if (!has_begun()) {
    throw std::runtime_error("the program doesn't begin with " + name);
  }
}

void WatchProgram::Start(const std::vector<std::string>& options,
                         const std::vector<std::string>& names) {
  std::vector<std::string> patterns;
  for (const std::string& name : names) {
    patterns.push_back(ports_.Path(name));
  }
  StartIn(".", options, patterns);
}

void WatchProgram::StartIn(const std::string& folder, const std::vector<std::string>& options,
                           const std::vector<std::string>& patterns) {
  program_ = StartBoards(std::vector<std::string>{"watch", "--no-switch", "--no-start",
                                                  "--answer-timeout", answer_timeout_} +
                             format_ + options + std::vector<std::string>{image_path_} + patterns,
                         run_by_ + std::vector<std::string>{"env", "-C", ports_.Path(folder)});
}

const std::vector<Json>& WatchProgram::Events() {
  const std::string output = program_->Output();
  for (std::size_t end = output.find('\n', read_); end != std::string::npos;
       end = output.find('\n', read_)) {
    events_.push_back(Json::parse(output.substr(read_, end - read_)));
    read_ = end + 1;
  }
  return events_;
}

std::size_t WatchProgram::Count(const std::string& kind, const std::string& name) {
  std::size_t count = 0;
  for (const Json& event : Events()) {
    const bool counts = event.at("event") == kind && (name.empty() || NameOf(event) == name);
    count += counts ? 1U : 0U;
  }
  return count;
}

void WatchProgram::WaitFor(const std::string& kind, const std::string& name, std::size_t count) {
  WaitUntil([&] { return Count(kind, name) >= count; },
            std::to_string(count) + " " + kind + " of " + name);
}

void WatchProgram::WaitForText(const std::string& text) {
  WaitUntil([&] { return program_->Output().find(text) != std::string::npos; }, text);
}

void WatchProgram::WaitUntil(const std::function<bool()>& condition, const std::string& what) {
  if (!program_->WaitUntil(condition, kNothingWillComeAfter)) {
    throw std::runtime_error("no " + what + " in " + program_->Output() + program_->ErrorOutput());
  }
}

void WatchProgram::Signal(int signal) { Signal(signal, program_->Id()); }

void WatchProgram::Signal(int signal, pid_t to) {
  const pid_t program = program_->Id();
  WaitUntil([&] { return HasSignal(program, "SigBlk", signal); }, "wait for signals");
  ::kill(to, signal);
  // It may end by that.
  program_->WaitUntil([&] { return !HasSignal(program, "ShdPnd", signal); }, kNothingWillComeAfter);
}

Results WatchProgram::ResultsAtTheEnd(int exit_status) {
  const Report report = ReportOf(*program_);
  EXPECT_EQ(report.exit_status, exit_status);
  EXPECT_EQ(report.error_output, "");
  ExpectOneAfterTheOther(report.events);
  Results results;
  const std::vector<Json> finished = report.All("finished");
  for (const Json& event : finished) {
    ++results[NameOf(event) + " " + HowItEnded(event)];
  }
  const auto failed = std::ranges::count(finished, "failed", &ResultOf);
  EXPECT_THAT(report.Only("summary"),
              HasFields(Json{{"boards", finished.size()}, {"failed", failed}}));
  return results;
}

Results WatchProgram::ResultsAfterOneMore(const std::string& name) {
  const SimulatedBoard board(kInBootloader);
  std::filesystem::permissions(board.Path(), std::filesystem::perms(0666));  // for any user
  Plug(name, board.Path());
  WaitFor("finished", name);
  Signal(SIGINT);
  Results results = ResultsAtTheEnd(128 + SIGINT);
  const auto of_board = results.find(name + " flashed");
  if (of_board == results.end() || of_board->second != 1) {
    ADD_FAILURE() << name << " isn't flashed once";
  } else {
    results.erase(of_board);
  }
  return results;
}

std::string WatchProgram::NameOf(const Json& event) const {
  const std::string port = event.value("port", "");
  const std::string folder = ports_.Path("");
  return port.starts_with(folder) ? port.substr(folder.size()) : port;
}

// No port is begun with again before it has ended, and what begins ends.
void WatchProgram::ExpectOneAfterTheOther(const std::vector<Json>& events) const {
  std::set<std::string> in_work;
  for (const Json& event : events) {
    const std::string name = NameOf(event);
    if (event.at("event") == "started" && event.at("attempt") == 1) {
      EXPECT_TRUE(in_work.insert(name).second) << name << " is served twice at the same time";
    } else if (event.at("event") == "finished") {
      in_work.erase(name);
    }
  }
  EXPECT_EQ(in_work.size(), 0U);
}

std::size_t ImagesSentTo(SimulatedBoard& board) {
  const std::string received = "# receiving an image";
  const std::string trace = board.Trace();
  std::size_t count = 0;
  for (std::size_t at = trace.find(received); at != std::string::npos;
       at = trace.find(received, at + 1)) {
    ++count;
  }
  return count;
}

}  // namespace kvo::bootloadertms::testing
