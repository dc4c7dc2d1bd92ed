#pragma once

#include "boards/display/Output.h"
#include "boards/display/Sentences.h"

namespace kvo::boards {

// For programs: a JSON object per line.
class JsonLines : public Display {
 public:
  // Borrows the descriptor.
  JsonLines(int descriptor, Task task, bool with_progress)
      : output_(descriptor), task_(task), with_progress_(with_progress) {}

  void Show(const BoardStatus& board, Change change) override;
  void Refresh() override { output_.Flush(); }
  void Finish(const Totals& totals) override;
  int Awaited() const override { return output_.Awaited(); }

 private:
  Output output_;
  Task task_;
  bool with_progress_;
};

}  // namespace kvo::boards
