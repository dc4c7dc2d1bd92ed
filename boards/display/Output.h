#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "boards/UniqueDescriptor.h"

namespace kvo::boards {

// Text for a reader that may not read: a full pipe, a terminal that was stopped by Ctrl-S. What the
// reader doesn't take now is queued; only `Drain` waits. A reader that is gone gets nothing, in
// silence.
class Output {
 public:
  // Borrows the descriptor. A terminal is opened anew for non-blocking writes, as others that share
  // the descriptor would share its mode.
  explicit Output(int descriptor);

  void Write(std::string_view text);

  // The same for text that the reader can do without: it is dropped when much is queued already.
  void WriteUnlessFull(std::string_view text);

  // Writes as much of the queue as the reader takes at once.
  void Flush();

  // Waits until all is written, or until the reader has taken nothing for this long.
  void Drain(std::chrono::milliseconds patience = std::chrono::seconds(30));

  bool IsIdle() const { return queue_.empty(); }

  // The descriptor to be polled for writing; -1 when there is nothing to write.
  int Awaited() const;

 private:
  bool WaitUntilWritable(std::chrono::milliseconds limit) const;
  bool WritePiece();
  void GiveUp();

  UniqueDescriptor own_;
  int descriptor_;
  std::string queue_;
  bool is_gone_ = false;
};

}  // namespace kvo::boards
