#include "boards/BoardLog.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <system_error>
#include <utility>

#include "boards/Printable.h"
#include "boards/display/Sentences.h"

namespace kvo::boards {

namespace {

// Digits.
constexpr int kMilliseconds = 3;
constexpr int kMicroseconds = 6;

// Appends in one piece, so that what other processes append stays whole, too.
void Append(int log, const std::string& text) {
  [[maybe_unused]] const ssize_t written = ::write(log, text.data(), text.size());
}

// Whoever wrote last, which may have been another process, has ended its line.
bool IsAtLineBegin(int log) {
  struct stat status {};
  char last = '\n';
  return ::fstat(log, &status) != 0 || status.st_size == 0 ||
         ::pread(log, &last, 1, status.st_size - 1) != 1 || last == '\n';
}

std::string Stamp() { return UtcTime(kMicroseconds) + " "; }

}  // namespace

class BoardLog::TraceBuffer : public std::streambuf {
 public:
  explicit TraceBuffer(int log) : log_(log) {}

 private:
  int_type overflow(int_type character) override {
    if (!traits_type::eq_int_type(character, traits_type::eof())) {
      const char piece = traits_type::to_char_type(character);
      xsputn(&piece, 1);
    }
    return traits_type::not_eof(character);
  }

  std::streamsize xsputn(const char* text, std::streamsize length) override {
    if (log_ >= 0 && length > 0) {
      Append(log_, Stamped({text, static_cast<std::size_t>(length)}));
    }
    return length;
  }

  std::string Stamped(std::string_view text) const {
    std::string stamped;
    bool at_begin = IsAtLineBegin(log_);
    for (const char character : text) {
      stamped += at_begin ? Stamp() : "";
      stamped += character;
      at_begin = character == '\n';
    }
    return stamped;
  }

  int log_;
};

BoardLog::BoardLog() : BoardLog(UniqueDescriptor()) {}

// Deliberate: it is open for reading, too, to see how the last line ends; and a pipe by that name
// may not hold up the supervisor.
BoardLog::BoardLog(const std::string& path)
    : BoardLog(UniqueDescriptor(::open(
          path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0644))) {}

BoardLog::BoardLog(UniqueDescriptor file)
    : file_(std::move(file)), trace_(std::make_unique<TraceBuffer>(file_.Get())) {}

BoardLog::~BoardLog() = default;

void BoardLog::Line(std::string_view text) {
  if (IsOpen()) {
    Append(file_.Get(),
           (IsAtLineBegin(file_.Get()) ? "" : "\n") + Stamp() + Printable(text) + "\n");
  }
}

std::streambuf& BoardLog::Trace() { return *trace_; }

namespace {

// A port's name as a file's, without its suffix. A file whose name begins with a dot is hidden.
std::string FileName(std::string_view port) {
  constexpr std::size_t kLongest = 200;
  port.remove_prefix(std::min(port.find_first_not_of("./"), port.size()));
  port.remove_prefix(port.size() - std::min(port.size(), kLongest));
  std::string name(port.empty() ? "port" : port);
  std::replace_if(
      name.begin(), name.end(),
      [](char character) {
        return (character < 'a' || character > 'z') && (character < 'A' || character > 'Z') &&
               (character < '0' || character > '9') && character != '-' && character != '.';
      },
      '_');
  return name;
}

class LogDisplay : public Display {
 public:
  void Show(const BoardStatus& board, Change change) override {
    if (change == Change::kCame || change == Change::kGone) {
      return;
    }
    const std::string story = story_.Tell(board, change);
    BoardLog& log = logs_.try_emplace(&board, board.log_path).first->second;
    if (change == Change::kAttempt) {
      log.Line("attempt " + std::to_string(board.attempt));
    } else if (!story.empty()) {
      log.Line(story);
    }
    if (change == Change::kEnd) {
      logs_.erase(&board);
    }
  }

  void Finish(const Totals& /*totals*/) override {}

 private:
  std::map<const BoardStatus*, BoardLog> logs_;  // of those that are served
  Story story_;
};

// `name`, or one with a number that isn't taken.
std::string FreePath(const std::string& name,
                     const std::function<bool(const std::string&)>& is_free) {
  std::string path = name + ".log";
  for (int number = 2; !is_free(path); ++number) {
    path = name + "-" + std::to_string(number) + ".log";
  }
  return path;
}

}  // namespace

std::vector<std::string> LogPaths(const std::string& folder,
                                  const std::vector<std::string>& ports) {
  std::set<std::string> taken;
  std::vector<std::string> paths;
  for (const std::string& port : ports) {
    paths.push_back(FreePath(folder + "/" + FileName(port), [&taken](const std::string& path) {
      return taken.insert(path).second;
    }));
  }
  return paths;
}

std::string LogPathOfNow(const std::string& folder, const std::string& port) {
  std::string time = UtcTime(kMilliseconds);
  std::erase_if(time, [](char character) { return character == '-' || character == ':'; });
  return FreePath(folder + "/" + time + "-" + FileName(port),
                  [](const std::string& path) { return ::access(path.c_str(), F_OK) != 0; });
}

void RemoveEmptyLog(const std::string& path) {
  std::error_code none;
  if (std::filesystem::file_size(path, none) == 0) {
    std::filesystem::remove(path, none);
  }
}

std::unique_ptr<Display> MakeLogDisplay() { return std::make_unique<LogDisplay>(); }

}  // namespace kvo::boards
