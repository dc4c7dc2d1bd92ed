#pragma once

#include <string>

#include "boards/BoardStatus.h"

namespace kvo::boards {

// A board that is in the middle of its transfer: 128 KiB of 256, block 17 is next.
inline BoardStatus SendingBoard() {
  BoardStatus board;
  board.port = "/dev/ttyUSB0";
  board.board = "TRK4_R1";
  board.application = "TRK4-R1-APPLICATION";
  board.bytes = 262144;
  board.attempt = 1;
  board.step = Step::kTransfer;
  board.block = 17;
  board.blocks = 256;
  board.bytes_sent = 131072;
  return board;
}

inline BoardStatus FlashedBoard() {
  BoardStatus board = SendingBoard();
  board.end = {.outcome = Outcome::kFlashed,
               .reason = {},
               .message = "",
               .in_transfer = false,
               .seconds = 3.4004,
               .bytes_per_second = 95999.7};
  return board;
}

inline BoardStatus FailedBoard(Reason reason, const std::string& message, bool in_transfer) {
  BoardStatus board = SendingBoard();
  board.end = {.outcome = Outcome::kFailed,
               .reason = reason,
               .message = message,
               .in_transfer = in_transfer,
               .seconds = 2.1,
               .bytes_per_second = 0};
  return board;
}

inline BoardStatus AskedBoard(Outcome outcome) {
  BoardStatus board;
  board.port = "/dev/ttyUSB0";
  board.step = Step::kAsking;
  board.end = {.outcome = outcome,
               .reason = {},
               .message = "",
               .in_transfer = false,
               .seconds = 0.5,
               .bytes_per_second = 0};
  return board;
}

inline BoardStatus AnsweringBootloader() {
  BoardStatus board = AskedBoard(Outcome::kAnswered);
  board.answers = {"bootloader", "SN000042", "HW-R3", "KVO-TMS",
                   "V2.10",      "v1.04",    "",      "APP-INFO 2.10"};
  return board;
}

inline BoardStatus AnsweringApplication() {
  BoardStatus board = AskedBoard(Outcome::kAnswered);
  board.answers = {"application", "SN000042", "", "", "", "", "BOOT_NORMAL", ""};
  return board;
}

}  // namespace kvo::boards
