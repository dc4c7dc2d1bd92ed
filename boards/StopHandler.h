#pragma once

#include <csignal>

#include "boards/EventChannel.h"
#include "boards/TransferWatch.h"
#include "boards/ports/BoardPort.h"

namespace kvo::boards {

// From now on SIGTERM ends this process: it tells where the transfer was, gives the port back, if
// one is borrowed, and leaves, with exit status 0 if that went well. For a worker process, once;
// borrows all of them for as long as the process lives.
void GiveBackWhenToldToEnd(const EventSender& events, const TransferWatch& watch,
                           const Borrowed& borrowed);

// While it lives, SIGTERM waits: what is half done could not be given back.
class StopsLater {
 public:
  StopsLater();
  StopsLater(const StopsLater&) = delete;
  StopsLater& operator=(const StopsLater&) = delete;
  ~StopsLater();

 private:
  sigset_t former_mask_{};
};

}  // namespace kvo::boards
