#pragma once

#include <sys/types.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "boards/ports/FolderEvents.h"

namespace kvo::boards {

// Finds the ports whose paths match patterns, and tells when they come and go. A port is a
// character device, or a link that leads to one. It has gone and come, too, when its link or its
// device was replaced, however quickly.
class PortWatch {
 public:
  using Clock = std::chrono::steady_clock;

  struct Port {
    std::string path;
    dev_t device;
  };
  struct Changes {
    std::vector<std::string> gone;  // before those that have come
    std::vector<Port> come;         // sorted by path
  };

  // Throws `std::system_error`.
  explicit PortWatch(std::vector<std::string> patterns);

  // What has changed since the last call, which comes first with all that is there.
  Changes Look(Clock::time_point now);

  // Readable when it is worth a look.
  int Descriptor() const { return events_.Descriptor(); }

 private:
  // What tells a file from another that has its name later: device, number, and time of birth, as
  // numbers are used again.
  using Identity = std::array<std::uint64_t, 4>;
  struct Found {
    dev_t device = 0;
    Identity link{};    // the device's own if it is none
    Identity target{};  // the device's
    // Folders, links and device: if one of them was removed, so was the port.
    std::vector<FolderEvents::Place> places;
    std::uint64_t round = 0;  // in which it has come
  };

  static Identity IdentityOf(const std::string& path, int flags);

  using Finds = std::map<std::string, Found>;  // by path

  bool IsWorthALook(Clock::time_point now) const;
  enum class Certainty { kAfterAllThatIsKnown, kMaybeBefore };
  void Forget(const std::set<FolderEvents::Place>& removed, Certainty certainty);
  Finds Scan();
  void Walk(const std::string& folder, const std::string& pattern, Finds& finds);
  void Examine(const std::string& path, Finds& finds);
  void FollowIfLink(const std::string& folder);
  void Follow(const std::string& path, int& links, Found& found);
  Changes Compare(Finds finds);

  std::vector<std::string> patterns_;
  FolderEvents events_;
  Finds known_;
  std::vector<std::string> forgotten_;  // that were known, and were removed since
  std::uint64_t round_ = 0;
  bool is_dirty_ = true;
  bool is_incomplete_ = false;  // the last look, as a folder could not be read
  Clock::time_point next_blind_look_;
};

}  // namespace kvo::boards
