#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>

#include "boards/UniqueDescriptor.h"

namespace kvo::boards {

// Whether a pattern, as fnmatch(3) has it, is for a file's name. Those that begin with a dot are
// meant by a pattern that does so, too.
bool IsMatch(const std::string& pattern, const char* name);

// Tells when names appear in folders and disappear. Which folders and which names is said anew in
// each round: a round begins with `BeginRound`, and what hasn't been watched in it is forgotten by
// `EndRound`.
class FolderEvents {
 public:
  // Throws `std::system_error`.
  FolderEvents();

  // A name in a folder that is watched.
  using Place = std::pair<int, std::string>;

  void BeginRound();
  void EndRound();

  // Watches for names in `folder`, empty for the current one, that match `pattern`. The result
  // tells the folder in places; -1 when there is none.
  int Watch(const std::string& folder, const std::string& pattern);

  // Whether something in this round can't be watched, or be known of, so that it takes a look.
  bool IsBlind() const { return is_blind_; }

  struct News {
    bool is_relevant = false;
    std::set<Place> removed;
  };
  // What has happened since the last call; never waits.
  News Take();

  // Readable when something has happened.
  int Descriptor() const { return inotify_.Get(); }

 private:
  bool IsRelevant(int folder, const char* name) const;

  UniqueDescriptor inotify_;
  std::map<int, std::set<std::string>> patterns_;  // by folder
  std::map<int, std::set<std::string>> former_patterns_;
  bool is_blind_ = false;
};

}  // namespace kvo::boards
