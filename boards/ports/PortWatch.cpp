#include "boards/ports/PortWatch.h"

#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <memory>
#include <optional>
#include <utility>

namespace kvo::boards {

namespace {

constexpr std::chrono::seconds kBlindLooks{1};
constexpr int kMostLinks = 40;

// A path's folder, which ends in "/" or is empty for the current one, and its last part.
std::pair<std::string, std::string> SplitEnd(const std::string& path) {
  const std::size_t name = path.find_last_of('/') + 1;
  return {path.substr(0, name), path.substr(name)};
}

// A path's first part, and what comes after it.
std::pair<std::string, std::string> SplitBegin(const std::string& path) {
  const std::size_t end = std::min(path.find('/'), path.size());
  return {path.substr(0, end),
          path.substr(std::min(path.find_first_not_of('/', end), path.size()))};
}

// "/" for an absolute path, else empty; and the rest.
std::pair<std::string, std::string> SplitRoot(const std::string& path) {
  const std::size_t rest = std::min(path.find_first_not_of('/'), path.size());
  return {rest > 0 ? "/" : "", path.substr(rest)};
}

std::optional<std::string> TargetOf(const std::string& link) {
  std::array<char, PATH_MAX> text{};
  const ssize_t length = ::readlink(link.c_str(), text.data(), text.size());
  if (length <= 0) {
    return std::nullopt;
  }
  const std::string target(text.data(), static_cast<std::size_t>(length));
  return target.front() == '/' ? target : SplitEnd(link).first + target;
}

bool HasWildcards(const std::string& part) { return part.find_first_of("*?[\\") != part.npos; }

// None when the folder's names can't be had now.
std::optional<std::vector<std::string>> MatchesIn(const std::string& folder,
                                                  const std::string& part) {
  std::vector<std::string> names;
  if (!HasWildcards(part)) {
    names.push_back(part);
    return names;
  }
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(
      ::opendir(folder.empty() ? "." : folder.c_str()), &::closedir);
  if (!entries && errno != ENOENT && errno != ENOTDIR && errno != EACCES) {
    return std::nullopt;
  }
  while (const dirent* const entry = entries ? ::readdir(entries.get()) : nullptr) {
    if (IsMatch(part, entry->d_name)) {
      names.emplace_back(entry->d_name);
    }
  }
  return names;
}

}  // namespace

PortWatch::PortWatch(std::vector<std::string> patterns) : patterns_(std::move(patterns)) {}

PortWatch::Changes PortWatch::Look(Clock::time_point now) {
  const FolderEvents::News before = events_.Take();
  Forget(before.removed, Certainty::kAfterAllThatIsKnown);
  if (!before.is_relevant && !IsWorthALook(now)) {
    return {};
  }
  next_blind_look_ = now + kBlindLooks;
  ++round_;
  is_incomplete_ = false;
  Finds finds = Scan();
  Changes changes;
  if (!is_incomplete_) {  // else what isn't found may be there
    changes = Compare(std::move(finds));
  }
  const FolderEvents::News meanwhile = events_.Take();
  Forget(meanwhile.removed, Certainty::kMaybeBefore);
  is_dirty_ = meanwhile.is_relevant;
  return changes;
}

bool PortWatch::IsWorthALook(Clock::time_point now) const {
  return is_dirty_ || ((is_incomplete_ || events_.IsBlind()) && now >= next_blind_look_);
}

void PortWatch::Forget(const std::set<FolderEvents::Place>& removed, Certainty certainty) {
  std::erase_if(known_, [&](const auto& known) {
    const Found& found = known.second;
    // What has been removed before a port came is none of its.
    const bool has_been_there =
        found.round < round_ || certainty == Certainty::kAfterAllThatIsKnown;
    const bool is_removed =
        has_been_there && std::ranges::any_of(found.places, [&removed](const auto& place) {
          return removed.contains(place);
        });
    if (is_removed) {
      forgotten_.push_back(known.first);
    }
    return is_removed;
  });
}

PortWatch::Finds PortWatch::Scan() {
  Finds finds;
  events_.BeginRound();
  for (const std::string& pattern : patterns_) {
    const auto [root, rest] = SplitRoot(pattern);
    Walk(root, rest, finds);
  }
  events_.EndRound();
  return finds;
}

// Each folder is watched before it is looked into, so that nothing is missed in between.
void PortWatch::Walk(const std::string& folder, const std::string& pattern, Finds& finds) {
  const auto [part, rest] = SplitBegin(pattern);
  events_.Watch(folder, part);
  const std::optional<std::vector<std::string>> names = MatchesIn(folder, part);
  if (!names) {
    is_incomplete_ = true;
    return;
  }
  for (const std::string& name : *names) {
    if (rest.empty()) {
      Examine(folder + name, finds);
    } else {
      FollowIfLink(folder + name);
      Walk(folder + name + "/", rest, finds);
    }
  }
}

// The folder that it leads to may come and go.
void PortWatch::FollowIfLink(const std::string& folder) {
  if (TargetOf(folder)) {
    int links = kMostLinks;
    Found any;
    Follow(folder, links, any);
  }
}

void PortWatch::Examine(const std::string& path, Finds& finds) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0 ||
      !(S_ISLNK(status.st_mode) || S_ISCHR(status.st_mode))) {
    return;
  }
  Found found;
  int links = kMostLinks;
  Follow(path, links, found);
  found.link = IdentityOf(path, AT_SYMLINK_NOFOLLOW);
  found.target = IdentityOf(path, 0);
  if (::stat(path.c_str(), &status) == 0 && S_ISCHR(status.st_mode)) {
    found.device = status.st_rdev;
    found.round = round_;
    finds.emplace(path, std::move(found));
  }
}

// Any part of the path may be what is missing yet or will be removed, and may be a link.
void PortWatch::Follow(const std::string& path, int& links, Found& found) {
  auto [folder, rest] = SplitRoot(path);
  while (!rest.empty()) {
    const auto [part, next] = SplitBegin(rest);
    found.places.emplace_back(events_.Watch(folder, part), part);
    const std::optional<std::string> target = TargetOf(folder + part);
    if (target && links > 0) {
      Follow(*target, --links, found);
    }
    folder += part + "/";
    rest = next;
  }
}

PortWatch::Changes PortWatch::Compare(Finds finds) {
  Changes changes;
  changes.gone = std::exchange(forgotten_, {});
  for (const auto& [path, known] : known_) {
    const auto found = finds.find(path);
    if (found != finds.end() && found->second.link == known.link &&
        found->second.target == known.target) {
      found->second.round = known.round;
    } else {
      changes.gone.push_back(path);
    }
  }
  for (const auto& [path, found] : finds) {
    if (found.round == round_) {
      changes.come.push_back({path, found.device});
    }
  }
  known_ = std::move(finds);
  return changes;
}

PortWatch::Identity PortWatch::IdentityOf(const std::string& path, int flags) {
  struct statx status {};
  if (::statx(AT_FDCWD, path.c_str(), flags, STATX_INO | STATX_BTIME, &status) != 0) {
    return {};
  }
  return {(std::uint64_t{status.stx_dev_major} << 32U) | status.stx_dev_minor, status.stx_ino,
          static_cast<std::uint64_t>(status.stx_btime.tv_sec), status.stx_btime.tv_nsec};
}

}  // namespace kvo::boards
