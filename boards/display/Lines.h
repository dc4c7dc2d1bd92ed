#pragma once

#include <string>
#include <vector>

#include "boards/display/Output.h"
#include "boards/display/Sentences.h"

namespace kvo::boards {

// For a pipe or a file: a line for each change, each beginning with its port; in a watch also what
// is waited for, and the totals after each result.
class Lines : public Display {
 public:
  struct Options {
    Task task = Task::kFlash;
    bool with_progress = true;  // or results and the summary only
    bool with_color = false;
    std::vector<std::string> patterns = {};  // that are watched; none outside a watch
  };

  // Borrows the descriptor.
  Lines(int descriptor, Options options);

  void Show(const BoardStatus& board, Change change) override;
  void Announce(const std::string& text) override { output_.Write(text + "\n"); }
  void Refresh() override { output_.Flush(); }
  void Finish(const Totals& totals) override;
  int Awaited() const override { return output_.Awaited(); }

 private:
  Output output_;
  Options options_;
  Story story_;
  Totals totals_;
};

// Nothing but boards that are not as they should be, a line for each.
class Failures : public Display {
 public:
  // Borrows the descriptor.
  explicit Failures(int descriptor) : output_(descriptor) {}

  void Show(const BoardStatus& board, Change change) override;
  void Refresh() override { output_.Flush(); }
  void Finish(const Totals& totals) override;
  int Awaited() const override { return output_.Awaited(); }

 private:
  Output output_;
};

}  // namespace kvo::boards
