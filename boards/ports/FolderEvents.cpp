#include "boards/ports/FolderEvents.h"

#include <fnmatch.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

namespace kvo::boards {

namespace {

constexpr std::uint32_t kRemoved = IN_DELETE | IN_MOVED_FROM;
constexpr std::uint32_t kChanges = kRemoved | IN_CREATE | IN_MOVED_TO | IN_ONLYDIR;
// Of the queue, or of a folder as a whole.
constexpr std::uint32_t kLostSight = IN_Q_OVERFLOW | IN_UNMOUNT;

}  // namespace

bool IsMatch(const std::string& pattern, const char* name) {
  return pattern == name || ::fnmatch(pattern.c_str(), name, FNM_PERIOD) == 0;
}

FolderEvents::FolderEvents() : inotify_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  if (inotify_.Get() == -1) {
    throw std::system_error(errno, std::generic_category(), "inotify");
  }
}

void FolderEvents::BeginRound() {
  former_patterns_ = std::move(patterns_);
  patterns_.clear();
  is_blind_ = false;
}

void FolderEvents::EndRound() {
  for (const auto& [folder, patterns] : former_patterns_) {
    if (!patterns_.contains(folder)) {
      ::inotify_rm_watch(inotify_.Get(), folder);
    }
  }
  former_patterns_.clear();
}

int FolderEvents::Watch(const std::string& folder, const std::string& pattern) {
  const int watch =
      ::inotify_add_watch(inotify_.Get(), folder.empty() ? "." : folder.c_str(), kChanges);
  if (watch != -1) {
    patterns_[watch].insert(pattern);
  } else if (errno != ENOENT && errno != ENOTDIR) {
    is_blind_ = true;
  }
  return watch;
}

FolderEvents::News FolderEvents::Take() {
  News news;
  alignas(inotify_event) std::array<char, 16UL * 1024> buffer{};
  ssize_t length = -1;
  while ((length = ::read(inotify_.Get(), buffer.data(), buffer.size())) > 0) {
    for (const char* at = buffer.data(); at < buffer.data() + length;) {
      inotify_event event{};
      std::memcpy(&event, at, sizeof event);
      const char* const name = at + sizeof event;
      at = name + event.len;
      if ((event.mask & kLostSight) != 0) {
        news.is_relevant = true;
      } else if (event.len > 0 && IsRelevant(event.wd, name)) {
        news.is_relevant = true;
        if ((event.mask & kRemoved) != 0) {
          news.removed.emplace(event.wd, name);
        }
      }
    }
  }
  if (length == -1 && errno != EAGAIN) {
    is_blind_ = true;
  }
  return news;
}

bool FolderEvents::IsRelevant(int folder, const char* name) const {
  const auto patterns = patterns_.find(folder);
  return patterns != patterns_.end() &&
         std::ranges::any_of(patterns->second,
                             [name](const std::string& pattern) { return IsMatch(pattern, name); });
}

}  // namespace kvo::boards
