#include "boards/Printable.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kvo::boards {
namespace {

TEST(PrintableTest, WhatCouldSteerATerminalIsShownEscaped) {
  struct Row {
    std::string text;
    std::string shown;
  };
  const std::vector<Row> rows = {
      {"/dev/x;reboot \\ ~", "/dev/x;reboot \\ ~"},
      {"Gerät 7 \u20ac \U0001f4a5", "Gerät 7 \u20ac \U0001f4a5"},
      {std::string("\0\x1b[2J\r\n\t\x1f\x7f", 10), "\\x00\\x1b[2J\\x0d\\x0a\\x09\\x1f\\x7f"},
      {"\u0080\u009b2J\u009f\u00a0", "\\xc2\\x80\\xc2\\x9b2J\\xc2\\x9f\u00a0"},
      {"\xff\x80 \xe4", "\\xff\\x80 \\xe4"},
      {"\xe2\x82", "\\xe2\\x82"},
      {"\xc0\xaf \xc1\xbf \xe0\x9f\xbf", "\\xc0\\xaf \\xc1\\xbf \\xe0\\x9f\\xbf"},
      {"\xed\xa0\x80", "\\xed\\xa0\\x80"},
      {"\xf0\x8f\xbf\xbf \xf4\x90\x80\x80", "\\xf0\\x8f\\xbf\\xbf \\xf4\\x90\\x80\\x80"},
      {"\xf5\x80\x80\x80", "\\xf5\\x80\\x80\\x80"},
      {"\xc3(", "\\xc3("},
      {"\u0800\ud7ff\U00010000\U0010ffff", "\u0800\ud7ff\U00010000\U0010ffff"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(Printable(row.text), row.shown);
  }
}

}  // namespace
}  // namespace kvo::boards
