#include "program/boards/BoardsProgram.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <mutex>
#include <sstream>
#include <thread>
#include <utility>

namespace kvo::bootloadertms::testing {

namespace {

class OpenPort {
 public:
  explicit OpenPort(const std::string& path)
      : descriptor_(::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
    EXPECT_NE(descriptor_, -1) << path;
  }
  OpenPort(const OpenPort&) = delete;
  OpenPort& operator=(const OpenPort&) = delete;
  ~OpenPort() { ::close(descriptor_); }
  int Get() const { return descriptor_; }

 private:
  std::unique_lock<std::mutex> alone_ = NoProgramStarts();
  int descriptor_;
};

// In a form that a failed comparison shows.
std::vector<unsigned> SettingsOf(int port) {
  termios settings{};
  EXPECT_EQ(::tcgetattr(port, &settings), 0);
  std::vector<unsigned> numbers = {settings.c_iflag,         settings.c_oflag,
                                   settings.c_cflag,         settings.c_lflag,
                                   ::cfgetispeed(&settings), ::cfgetospeed(&settings)};
  numbers.insert(numbers.end(), std::begin(settings.c_cc), std::end(settings.c_cc));
  return numbers;
}

}  // namespace

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

PortAsItWas::PortAsItWas(std::string path) : path_(std::move(path)) {
  const OpenPort port(path_);
  termios settings{};
  ::tcgetattr(port.Get(), &settings);
  settings.c_iflag = IGNBRK | ICRNL | IXANY;
  settings.c_oflag = OPOST | OCRNL;
  settings.c_lflag = ICANON | NOFLSH;
  settings.c_cc[VMIN] = 7;
  settings.c_cc[VTIME] = 9;
  settings.c_cc[VINTR] = 'i';
  ::cfsetspeed(&settings, B19200);
  ::tcsetattr(port.Get(), TCSANOW, &settings);
  settings_ = SettingsOf(port.Get());
}

void PortAsItWas::ExpectGivenBack() const {
  const OpenPort port(path_);
  EXPECT_EQ(SettingsOf(port.Get()), settings_);
  // A process that has ended closes its files a moment later.
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (::flock(port.Get(), LOCK_EX | LOCK_NB) != 0) {
    ASSERT_LT(std::chrono::steady_clock::now(), limit) << path_ << " is locked";
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  int is_exclusive = -1;
  EXPECT_EQ(::ioctl(port.Get(), TIOCGEXCL, &is_exclusive), 0);
  EXPECT_EQ(is_exclusive, 0);
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
