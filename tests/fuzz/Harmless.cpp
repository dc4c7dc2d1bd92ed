#include "fuzz/Harmless.h"

#include <nlohmann/json.hpp>

#include "fuzz/Fuzzing.h"

namespace kvo::bootloadertms::testing {

namespace {

void RequireUtf8(const std::string& text) {
  try {
    nlohmann::json(text).dump();
  } catch (const nlohmann::json::exception&) {
    Require(false, "the text is UTF-8");
  }
}

}  // namespace

void RequireHarmless(const std::string& text) {
  RequireUtf8(text);
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const auto next = static_cast<unsigned char>(text.c_str()[i + 1]);
    Require(byte == '\r' || byte == '\n' || (byte >= 0x20 && byte != 0x7f), "no control character");
    Require(byte != 0xc2 || next >= 0xa0, "no control character of two bytes");
  }
}

}  // namespace kvo::bootloadertms::testing
