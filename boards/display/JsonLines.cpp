#include "boards/display/JsonLines.h"

#include <cmath>

#include "boards/display/JsonObject.h"

namespace kvo::boards {

namespace {

using Object = JsonObject;

double Rounded(double seconds) { return std::round(seconds * 1000) / 1000; }

Object About(const char* event, const BoardStatus& board) {
  return {{"event", event}, {"port", board.port}};
}

Object Started(const BoardStatus& board) {
  return {{"event", "started"},
          {"time", UtcTime(3)},
          {"port", board.port},
          {"board", board.board},
          {"application", board.application},
          {"bytes", board.bytes},
          {"attempt", board.attempt}};
}

Object ProgressOf(const BoardStatus& board) {
  Object object = About("progress", board);
  object["bytes_sent"] = board.bytes_sent;
  object["bytes"] = board.bytes;
  return object;
}

void AddFailure(Object& object, const BoardStatus::End& end) {
  object["reason"] = NameOf(end.reason);
  object["message"] = end.message;
}

Object Finished(const BoardStatus& board) {
  const BoardStatus::End& end = *board.end;
  Object object = About("finished", board);
  object["result"] = end.outcome == Outcome::kFlashed ? "flashed"
                     : end.outcome == Outcome::kReady ? "ready"
                                                      : "failed";
  if (end.outcome == Outcome::kFailed) {
    AddFailure(object, end);
    if (end.in_transfer || end.reason == Reason::kBroken) {
      object["block"] = board.block;
      object["blocks"] = board.blocks;
    }
  }
  object["seconds"] = Rounded(end.seconds);
  object["attempts"] = board.attempt;
  if (end.outcome == Outcome::kFlashed) {
    object["bytes_per_second"] =
        std::isfinite(end.bytes_per_second) ? std::llround(end.bytes_per_second) : 0;
  }
  return object;
}

Object Info(const BoardStatus& board) {
  Object object = About("info", board);
  if (board.end->outcome == Outcome::kSilent) {
    object["state"] = "silent";
  } else if (board.end->outcome == Outcome::kFailed) {
    AddFailure(object, *board.end);
  } else {
    for (std::size_t field = 0; field < kFields; ++field) {
      if (!board.answers.at(field).empty()) {
        object[std::string(NameOf(static_cast<Field>(field)))] = board.answers.at(field);
      }
    }
  }
  return object;
}

}  // namespace

void JsonLines::Show(const BoardStatus& board, Change change) {
  if (task_ == Task::kInfo) {
    if (change == Change::kEnd) {
      output_.Write(LineOf(Info(board)));
    }
  } else if (change == Change::kEnd) {
    output_.Write(LineOf(Finished(board)));
  } else if (change == Change::kAttempt && task_ == Task::kFlash) {
    output_.Write(LineOf(Started(board)));
  } else if (change == Change::kProgress && with_progress_) {
    output_.WriteUnlessFull(LineOf(ProgressOf(board)));
  }
}

void JsonLines::Finish(const Totals& totals) {
  if (task_ != Task::kInfo) {
    const double seconds = Rounded(totals.seconds);
    output_.Write(LineOf({{"event", "summary"},
                          {"boards", totals.boards},
                          {task_ == Task::kDryRun ? "ready" : "flashed", totals.good},
                          {"failed", totals.failed},
                          {"seconds", seconds}}));
  }
  output_.Drain();
}

}  // namespace kvo::boards
