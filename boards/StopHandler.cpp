#include "boards/StopHandler.h"

#include <unistd.h>

#include <csignal>
#include <cstdlib>

namespace kvo::boards {

namespace {

// What the handler needs, which can't be given to it.
const EventSender* g_events = nullptr;
const TransferWatch* g_watch = nullptr;
const Borrowed* g_borrowed = nullptr;

void TellAndGiveBack(int /*signal*/) {
  const TransferWatch::Position position = g_watch->GetPosition();
  Event stopped;
  stopped.kind = EventKind::kStopped;
  stopped.block = position.block;
  stopped.blocks = position.blocks;
  stopped.bytes_sent = position.bytes_sent;
  g_events->SendIfPossible(stopped);
  ::_exit(GiveBack(*g_borrowed, g_watch->IsInTransfer()) ? EXIT_SUCCESS : EXIT_FAILURE);
}

}  // namespace

void GiveBackWhenToldToEnd(const EventSender& events, const TransferWatch& watch,
                           const Borrowed& borrowed) {
  g_events = &events;
  g_watch = &watch;
  g_borrowed = &borrowed;
  struct sigaction action {};
  action.sa_handler = TellAndGiveBack;
  ::sigemptyset(&action.sa_mask);
  ::sigaction(SIGTERM, &action, nullptr);
}

StopsLater::StopsLater() {
  sigset_t stop;
  ::sigemptyset(&stop);
  ::sigaddset(&stop, SIGTERM);
  ::sigprocmask(SIG_BLOCK, &stop, &former_mask_);
}

StopsLater::~StopsLater() { ::sigprocmask(SIG_SETMASK, &former_mask_, nullptr); }

}  // namespace kvo::boards
