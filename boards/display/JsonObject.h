#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace kvo::boards {

// Keys stay in the order in which they were added.
using JsonObject = nlohmann::ordered_json;

// In ASCII alone: there are control characters beyond it. What isn't UTF-8 is replaced.
inline std::string LineOf(const JsonObject& object) {
  return object.dump(-1, ' ', true, JsonObject::error_handler_t::replace) + "\n";
}

}  // namespace kvo::boards
