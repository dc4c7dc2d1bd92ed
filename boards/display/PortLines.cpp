#include "boards/display/PortLines.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "boards/Printable.h"
#include "boards/display/Columns.h"
#include "boards/display/JsonObject.h"

namespace kvo::boards {

namespace {

constexpr std::size_t kColumns = 7;
using Row = std::array<std::string, kColumns>;

std::string Hexadecimal(std::uint16_t id) {
  std::array<char, 5> digits{};
  std::snprintf(digits.data(), digits.size(), "%04x", id);
  return digits.data();
}

// Two texts of which either may be missing.
std::string Joined(const std::string& left, const char* separator, const std::string& right) {
  return left + (left.empty() || right.empty() ? "" : separator) + right;
}

Row RowOf(const FoundPort& port) {
  std::string ids;
  if (port.usb_ids) {
    ids = Hexadecimal(port.usb_ids->vendor) + ":" + Hexadecimal(port.usb_ids->product);
  }
  Row row = {port.path,
             ids,
             port.serial,
             Joined(port.manufacturer, " ", port.product),
             Joined(port.has_hardware ? "" : "no hardware", "; ", port.denial),
             port.by_id,
             port.by_path};
  std::ranges::transform(row, row.begin(), Printable);
  return row;
}

JsonObject ObjectOf(const FoundPort& port) {
  constexpr std::array kTransports = {"native", "usb", "bluetooth"};
  JsonObject object = {{"event", "port"},
                       {"port", port.path},
                       {"transport", kTransports.at(static_cast<std::size_t>(port.transport))}};
  const auto add = [&object](const char* name, const std::string& text) {
    if (!text.empty()) {
      object[name] = text;
    }
  };
  if (port.usb_ids) {
    add("vendor_id", Hexadecimal(port.usb_ids->vendor));
    add("product_id", Hexadecimal(port.usb_ids->product));
  }
  add("serial", port.serial);
  add("manufacturer", port.manufacturer);
  add("product", port.product);
  add("by_id", port.by_id);
  add("by_path", port.by_path);
  object["hardware"] = port.has_hardware;
  object["accessible"] = port.denial.empty();
  add("group", port.group);
  return object;
}

}  // namespace

std::string PortLines(const std::vector<FoundPort>& ports) {
  if (ports.empty()) {
    return "No serial ports found\n";
  }
  std::vector<Row> rows;
  std::array<std::size_t, kColumns> widths{};
  for (const FoundPort& port : ports) {
    rows.push_back(RowOf(port));
    for (std::size_t column = 0; column < kColumns; ++column) {
      widths.at(column) = std::max(widths.at(column), ColumnsOf(rows.back().at(column)));
    }
  }
  std::string lines;
  for (const Row& row : rows) {
    std::string line;
    std::size_t end = 0;  // of the columns so far
    for (std::size_t column = 0; column < kColumns; ++column) {
      if (!row.at(column).empty()) {
        line += std::string(end - ColumnsOf(line), ' ') + row.at(column);
      }
      end += widths.at(column) == 0 ? 0 : widths.at(column) + 2;
    }
    lines += line + "\n";
  }
  return lines;
}

std::string PortObjects(const std::vector<FoundPort>& ports) {
  std::string lines;
  for (const FoundPort& port : ports) {
    lines += LineOf(ObjectOf(port));
  }
  return lines;
}

}  // namespace kvo::boards
