#include "program/boards/BoardsProgram.h"

#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <sstream>
#include <thread>

namespace kvo::bootloadertms::testing {

std::vector<std::string> operator+(std::vector<std::string> left,
                                   const std::vector<std::string>& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

std::vector<std::string> AsAnotherUser() {
  if (::geteuid() != 0) {
    return {};
  }
  return {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
}

std::unique_ptr<RunningProgram> StartBoards(const std::vector<std::string>& arguments,
                                            const std::vector<std::string>& run_by) {
  return std::make_unique<RunningProgram>(run_by + std::vector<std::string>{KVO_BOARDS} +
                                          arguments);
}

std::vector<Json> Report::All(const std::string& kind, const std::string& port) const {
  std::vector<Json> found;
  for (const Json& event : events) {
    if (event.value("event", "") == kind && (port.empty() || event.value("port", "") == port)) {
      found.push_back(event);
    }
  }
  return found;
}

Json Report::Only(const std::string& kind, const std::string& port) const {
  const std::vector<Json> found = All(kind, port);
  EXPECT_EQ(found.size(), 1U) << kind << " of " << port << " in " << output << error_output;
  return found.empty() ? Json::object() : found.front();
}

Report ReportOf(RunningProgram& program) {
  const Outcome outcome = OutcomeOf(program);
  Report report{outcome.exit_status, outcome.output, outcome.error_output, {}};
  std::istringstream lines(outcome.output);
  for (std::string line; std::getline(lines, line) && line.starts_with('{');) {
    report.events.push_back(Json::parse(line, nullptr, false));
    EXPECT_TRUE(report.events.back().is_object()) << line;
  }
  return report;
}

Report RunBoards(const std::vector<std::string>& arguments,
                 const std::vector<std::string>& run_by) {
  return ReportOf(*StartBoards(arguments, run_by));
}

std::string BytesIn(const std::string& trace, const std::string& direction) {
  std::string bytes;
  std::istringstream rows(trace);
  for (std::string row; std::getline(rows, row);) {
    std::istringstream words(row);
    std::string time;
    std::string what;
    words >> time >> what;
    for (std::string pair; what == direction && words >> pair && pair.front() != '|';) {
      bytes += static_cast<char>(std::stoi(pair, nullptr, 16));
    }
  }
  return bytes;
}

void PlayedBoard::Gets(std::size_t count, const std::string& answer) const {
  ASSERT_EQ(terminal_.Receive(count).size(), count);
  if (!answer.empty()) {
    terminal_.Send(answer);
  }
}

void PlayedBoard::GetsTheReceiveCommand() const {
  std::string request = terminal_.Receive(1);
  while (request == "0") {
    terminal_.Send("A");
    request = terminal_.Receive(1);
  }
  ASSERT_EQ(request, "1");
}

void PlayedBoard::GetsABlockAfter(std::size_t blocks) const {
  constexpr std::size_t kPacketZero = 133;
  constexpr std::size_t kBlock = 1029;
  ASSERT_NO_FATAL_FAILURE(GetsTheReceiveCommand());
  terminal_.Send("C");
  ASSERT_NO_FATAL_FAILURE(Gets(kPacketZero,
                               "\x06"
                               "C"));
  for (std::size_t block = 0; block < blocks; ++block) {
    ASSERT_NO_FATAL_FAILURE(Gets(kBlock, "\x06"));
  }
  Gets(kBlock);
}

void PlayedBoard::TakesTheLastBlock() const {
  constexpr std::size_t kClosingPacket = 133;
  terminal_.Send("\x06");
  ASSERT_NO_FATAL_FAILURE(Gets(1,
                               "\x06"
                               "C"));
  ASSERT_NO_FATAL_FAILURE(Gets(kClosingPacket, "\x06"));
  terminal_.Send("O");
}

std::string PlayedBoard::Rest() const {
  std::string all;
  for (std::string piece = "-"; !piece.empty();) {
    piece = terminal_.Receive(1024, std::chrono::milliseconds(1));
    all += piece;
  }
  return all;
}

pid_t WorkerOf(const RunningProgram& program, const std::string& port) {
  for (const pid_t child : ChildrenOf(program.Id())) {
    std::error_code ignored;
    const std::filesystem::path folder = "/proc/" + std::to_string(child) + "/fd";
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
      if (std::filesystem::read_symlink(entry.path(), ignored) == port) {
        return child;
      }
    }
  }
  return -1;
}

bool WaitUntilGone(pid_t process) {
  using std::chrono::steady_clock;
  const auto deadline = steady_clock::now() + std::chrono::seconds(60);
  while (!ReadFile("/proc/" + std::to_string(process) + "/cmdline").empty()) {
    if (steady_clock::now() >= deadline) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

}  // namespace kvo::bootloadertms::testing
