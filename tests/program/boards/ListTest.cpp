// Which ports there are, on machines that are made up: umockdev shows the program folders of the
// test in place of /sys and /dev.
#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "program/boards/BoardsProgram.h"

namespace kvo::bootloadertms::testing {
namespace {

namespace fs = std::filesystem;

class ListTest : public ::testing::Test {
 protected:
  Report List(const std::vector<std::string>& options = {},
              const std::vector<std::string>& run_by = {}) const {
    // umockdev's library comes before the sanitizer's, whose look for leaks needs ptrace.
    return RunBoards(
        std::vector<std::string>{"list"} + options,
        run_by + std::vector<std::string>{
                     "env", "UMOCKDEV_DIR=" + fs::canonical(machine_.Path(".")).string(),
                     "ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=0", "umockdev-wrapper"});
  }

  // A file of the machine, with what is in it.
  void AddFile(const std::string& path, const std::string& content) const {
    machine_.WriteFile("." + path, content);
  }

  void AddLink(const std::string& path, const std::string& target) const {
    fs::create_directories(fs::path(machine_.Path("." + path)).parent_path());
    fs::create_symlink(target, machine_.Path("." + path));
  }

  // A terminal of the kernel; `device` is the folder of what is behind it.
  void AddTerminal(const std::string& name, const std::string& device) const {
    const std::string terminal = "/devices/" + device + "/tty/" + name;
    AddLink("/sys" + terminal + "/device", "../../../" + fs::path(device).filename().string());
    AddLink("/sys/class/tty/" + name, "../.." + terminal);
    AddFile("/dev/" + name, "");
  }

  // A terminal of the serial core, as there are on the machine's own board.
  void AddUart(const std::string& name, const std::string& type) const {
    AddTerminal(name, "platform/serial8250");
    AddFile("/sys/devices/platform/serial8250/tty/" + name + "/type", type + "\n");
  }

  // An adapter at that place of the bus.
  void AddAdapter(const std::string& name, const std::string& place,
                  const std::map<std::string, std::string>& attributes) const {
    const std::string device = "pci0000:00/0000:00:14.0/usb1/" + place;
    AddTerminal(name, device + "/" + place + ":1.0/" + name);
    AddFile("/sys/devices/" + device + "/busnum", "1\n");
    AddFile("/sys/devices/" + device + "/devnum", "7\n");
    for (const auto& [attribute, value] : attributes) {
      AddFile("/sys/devices/" + device + "/" + attribute, value + "\n");
    }
  }

  void AddTwoAdapters() const {
    AddAdapter("ttyUSB10", "1-4",
               {{"idVendor", "0403"},
                {"idProduct", "6001"},
                {"manufacturer", "FTDI"},
                {"product", "FT232R USB UART"},
                {"serial", "A50285BI"}});
    AddLink("/dev/serial/by-id/usb-FTDI_A50285BI-port0", "../../ttyUSB10");
    AddLink("/dev/serial/by-path/pci-usbv2-0:4:1.0-port0", "../../ttyUSB10");
    AddLink("/dev/serial/by-path/pci-usb-0:4:1.0-port0", "../../ttyUSB10");
    AddAdapter("ttyUSB2", "1-5", {{"idVendor", "10c4"}, {"idProduct", "ea60"}});
    AddLink("/dev/serial/by-path/pci-usb-0:5:1.0-port0", "../../ttyUSB2");
    AddLink("/dev/serial/by-path/pci-usb-0:6:1.0-port0", "../../ttyUSB3");  // which is gone
  }

  // The device file of that name, closed to its owner; the group that may use it.
  std::string CloseToOwner(const std::string& name) const {
    const std::string path = machine_.Path("dev/" + name);
    fs::permissions(path, fs::perms::group_read | fs::perms::group_write);
    if (::geteuid() == 0 && ::chown(path.c_str(), 0, ::getgrnam("dialout")->gr_gid) == 0) {
      return "dialout";
    }
    return ::getgrgid(::getegid())->gr_name;
  }

  // Superusers may open everything, unless that right is taken from them.
  static std::vector<std::string> WithoutPrivileges() {
    return ::geteuid() == 0 ? std::vector<std::string>{"setpriv", "--bounding-set", "-all"}
                            : std::vector<std::string>{};
  }

  const TemporaryFolder machine_;
};

TEST_F(ListTest, APortIsToldWithAllThatIsKnownOfIt) {
  AddTwoAdapters();
  AddUart("ttyS0", "4");
  const Report report = List();
  EXPECT_EQ(report.exit_status, 0);
  EXPECT_EQ(report.error_output, "");
  EXPECT_EQ(report.output,
            "/dev/ttyS0\n"
            "/dev/ttyUSB2   10c4:ea60                                                           "
            "                  /dev/serial/by-path/pci-usb-0:5:1.0-port0\n"
            "/dev/ttyUSB10  0403:6001  A50285BI  FTDI FT232R USB UART  "
            "/dev/serial/by-id/usb-FTDI_A50285BI-port0  "
            "/dev/serial/by-path/pci-usb-0:4:1.0-port0\n");
}

TEST_F(ListTest, ProgramsGetAnObjectPerPort) {
  AddTwoAdapters();
  AddUart("ttyS0", "4");
  AddTerminal("rfcomm0", "pci0000:00/0000:00:14.0/usb1/1-7/bluetooth/hci0/hci0:1");
  const Report report = List({"--json"});
  EXPECT_EQ(report.exit_status, 0);
  ASSERT_EQ(report.events.size(), 4U);
  EXPECT_THAT(report.events[0],
              HasFields(Json{{"port", "/dev/rfcomm0"}, {"transport", "bluetooth"}}));
  EXPECT_THAT(report.events[1],
              HasFields(Json{{"port", "/dev/ttyS0"}, {"transport", "native"}, {"hardware", true}}));
  EXPECT_THAT(report.events[2], HasFields(Json{{"event", "port"},
                                               {"port", "/dev/ttyUSB2"},
                                               {"vendor_id", "10c4"},
                                               {"product_id", "ea60"},
                                               {"accessible", true}}));
  EXPECT_THAT(report.events[3],
              HasFields(Json{{"port", "/dev/ttyUSB10"},
                             {"transport", "usb"},
                             {"serial", "A50285BI"},
                             {"manufacturer", "FTDI"},
                             {"product", "FT232R USB UART"},
                             {"by_id", "/dev/serial/by-id/usb-FTDI_A50285BI-port0"},
                             {"by_path", "/dev/serial/by-path/pci-usb-0:4:1.0-port0"}}));
}

TEST_F(ListTest, PortsWithoutHardwareAreToldOnlyWithAll) {
  AddUart("ttyS0", "0");
  EXPECT_EQ(List().output, "No serial ports found\n");
  const Report report = List({"--all"});
  EXPECT_EQ(report.output, "/dev/ttyS0  no hardware\n");
  EXPECT_THAT(List({"--all", "--json"}).Only("port"), HasFields(Json{{"hardware", false}}));
}

TEST_F(ListTest, ConsolesAndPortsThatAreNotInDevAreNotTold) {
  AddUart("ttyS1", "4");
  fs::remove(machine_.Path("dev/ttyS1"));
  AddFile("/sys/devices/virtual/tty/tty1/active", "");
  AddLink("/sys/class/tty/tty1", "../../devices/virtual/tty/tty1");
  AddFile("/dev/tty1", "");
  const Report report = List({"--all"});
  EXPECT_EQ(report.exit_status, 0);
  EXPECT_EQ(report.output, "No serial ports found\n");
  EXPECT_EQ(List({"--all", "--json"}).output, "");
}

TEST_F(ListTest, APortThatTheUserMayNotOpenTellsWhoMay) {
  AddUart("ttyS0", "4");
  const std::string group = CloseToOwner("ttyS0");
  EXPECT_EQ(List({}, WithoutPrivileges()).output,
            "/dev/ttyS0  permission denied; members of the group " + group + " may use it\n");
  EXPECT_THAT(List({"--json"}, WithoutPrivileges()).Only("port"),
              HasFields(Json{{"accessible", false}, {"group", group}}));
}

TEST_F(ListTest, AMachineThatTellsNothingOfItsPortsIsAFailure) {
  const Report report = List();
  EXPECT_EQ(report.exit_status, 2);
  EXPECT_EQ(report.output, "");
  EXPECT_EQ(report.error_output,
            "kvo-boards: the ports can't be listed: /sys/class/tty: No such file or directory\n");
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
