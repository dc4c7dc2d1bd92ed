#include "boards/display/PortLines.h"

#include <gtest/gtest.h>

namespace kvo::boards {
namespace {

FoundPort PortOfTheBoard() {
  FoundPort port;
  port.path = "/dev/ttyS0";
  return port;
}

FoundPort UsbAdapter() {
  FoundPort port;
  port.path = "/dev/ttyUSB0";
  port.transport = Transport::kUsb;
  port.usb_ids = UsbIds{.vendor = 0x0403, .product = 0x6001};
  port.serial = "A50285BI";
  port.manufacturer = "FTDI";
  port.product = "FT232R";
  port.by_id = "/dev/serial/by-id/usb-FTDI";
  port.by_path = "/dev/serial/by-path/usb-0:4:1.0";
  port.group = "dialout";
  return port;
}

TEST(PortLinesTest, APortIsALineOfWhatIsKnown) {
  EXPECT_EQ(PortLines({UsbAdapter()}),
            "/dev/ttyUSB0  0403:6001  A50285BI  FTDI FT232R  /dev/serial/by-id/usb-FTDI  "
            "/dev/serial/by-path/usb-0:4:1.0\n");
  EXPECT_EQ(PortLines({PortOfTheBoard()}), "/dev/ttyS0\n");
}

TEST(PortLinesTest, WhatIsTheSameStandsInTheSameColumn) {
  FoundPort adapter = UsbAdapter();
  adapter.by_id = "id/FTDI";
  adapter.by_path = "path/1:4";
  FoundPort german = adapter;
  german.path = "/dev/ttyACM10";
  german.serial = "7";
  german.manufacturer = "Geräte";
  german.product = "";
  german.by_id = "";
  FoundPort closed = PortOfTheBoard();
  closed.denial = "closed";
  EXPECT_EQ(PortLines({german, closed, adapter}),
            "/dev/ttyACM10  0403:6001  7         Geräte                        path/1:4\n"
            "/dev/ttyS0                                       closed\n"
            "/dev/ttyUSB0   0403:6001  A50285BI  FTDI FT232R          id/FTDI  path/1:4\n");
}

TEST(PortLinesTest, WhyAPortIsOfNoUseIsTold) {
  FoundPort port = PortOfTheBoard();
  port.has_hardware = false;
  EXPECT_EQ(PortLines({port}), "/dev/ttyS0  no hardware\n");
  port.denial = "permission denied";
  EXPECT_EQ(PortLines({port}), "/dev/ttyS0  no hardware; permission denied\n");
}

TEST(PortLinesTest, WhatADeviceTellsDoesNotReachTheTerminalAsItIs) {
  FoundPort port = PortOfTheBoard();
  port.serial = "\x1b[2J";
  port.manufacturer = "A\n";
  port.product = "\xe4";
  EXPECT_EQ(PortLines({port}), "/dev/ttyS0  \\x1b[2J  A\\x0a \\xe4\n");
}

TEST(PortLinesTest, NoPortsAreALineForPeopleAndNothingForPrograms) {
  EXPECT_EQ(PortLines({}), "No serial ports found\n");
  EXPECT_EQ(PortObjects({}), "");
}

TEST(PortLinesTest, AnObjectHasWhatIsKnown) {
  FoundPort closed = PortOfTheBoard();
  closed.transport = Transport::kBluetooth;
  closed.has_hardware = false;
  closed.denial = "permission denied";
  EXPECT_EQ(PortObjects({UsbAdapter(), closed}),
            R"({"event":"port","port":"/dev/ttyUSB0","transport":"usb","vendor_id":"0403",)"
            R"("product_id":"6001","serial":"A50285BI","manufacturer":"FTDI","product":"FT232R",)"
            R"("by_id":"/dev/serial/by-id/usb-FTDI","by_path":"/dev/serial/by-path/usb-0:4:1.0",)"
            R"("hardware":true,"accessible":true,"group":"dialout"})"
            "\n"
            R"({"event":"port","port":"/dev/ttyS0","transport":"bluetooth","hardware":false,)"
            R"("accessible":false})"
            "\n");
}

TEST(PortLinesTest, AnObjectIsValidWhateverADeviceTells) {
  FoundPort port = PortOfTheBoard();
  port.product = "\x1b\xff\"";
  EXPECT_EQ(PortObjects({port}),
            R"({"event":"port","port":"/dev/ttyS0","transport":"native",)"
            "\"product\":\"\\u001b\\ufffd\\\"\",\"hardware\":true,\"accessible\":true}\n");
}

}  // namespace
}  // namespace kvo::boards
