#pragma once

#include <string>

namespace kvo::bootloadertms::testing {

// What a wrong count of arguments gets, to the byte.
inline const std::string kUsage =
    "Bad arguments number\n"
    "\n"
    "Usage 1, upload image file to target : kvo-bootloader-tms <serial> <Baud rate> <imageName> "
    "<--active_bootloader|--no_active_bootloader> [--active_application] [--verbose]\n"
    "  ie. : kvo-bootloader-tms /dev/ttyUSB0 1000000 ./tv_07_tv.bin --active_bootloader "
    "--active_application\n"
    "\n"
    "Usage 2, get application information from target : kvo-bootloader-tms <serial> <Baud rate> "
    "--application_info <--active_bootloader|--no_active_bootloader> [--verbose]\n"
    "  ie. : kvo-bootloader-tms /dev/ttyUSB0 1000000 --application_info --active_bootloader \n"
    "\n"
    "Usage 3, send command to target : kvo-bootloader-tms <serial> <Baud rate> --command <cmd> "
    "[--verbose]\n"
    "  with cmd :\n"
    "     - BL_CMD_PING = 0x30\n"
    "     - BL_CMD_EXEC_APP = 0x36\n"
    "     - BL_CMD_HW_INFO = 0x37\n"
    "     - BL_CMD_BL_INFO = 0x38\n"
    "     - BL_CMD_APP_INFO = 0x39\n"
    "     - BL_CMD_SAFE_BOOT_STATUS = 0x62\n"
    "     - BL_CMD_DEVICE_INFO = 0x100\n"
    "     - APP_CALIB = 0x4B\n"
    "     - APP_ACTIVE_BOOTLOADER = 0x51\n"
    "     - APP_PING = 0x52\n"
    "     - APP_CMD_SAFE_BOOT_STATUS = 0x62\n"
    "     - APP_CMD_DEVICE_INFO = 0x200\n"
    "     - APP_CMD_RESTORE_DEFAULT_PARAMETERS = 0x110\n"
    "  ie. : kvo-bootloader-tms /dev/ttyUSB0 1000000 --command 0x51 --verbose\n"
    "Usage 4, send character to target : kvo-bootloader-tms <serial> <Baud rate> --send "
    "<character> [--verbose]\n";

}  // namespace kvo::bootloadertms::testing
