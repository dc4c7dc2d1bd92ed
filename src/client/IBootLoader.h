#pragma once

#include <cstdint>
#include <string>

#include "AppInfos.h"
#include "DeviceInfos.h"
#include "TransferProgress.h"

namespace kvo::bootloadertms {

// The board at the other end of a serial line: its resident bootloader and its application, both of
// which answer one-byte requests. Which of the two runs is known only from the answers.
//
// Operations may be called in any order, also from several threads: each that touches the port is
// atomic with respect to it. The two setters don't lock: no other thread may be in an operation
// while they are called. The order of the operations is part of the binary interface.
//
// Failed conversations are `std::runtime_error` with the texts given below; the port's own failures
// pass through. After a failure the object is as usable as before.
class IBootLoader {
 public:
  IBootLoader() = default;
  IBootLoader(const IBootLoader&) = delete;
  IBootLoader& operator=(const IBootLoader&) = delete;

  // Up to nine pings of some 150 ms. The result is the attempts left when the answer came, the
  // answering one included: 9 for the first, 1 for the ninth, 0 for no answer.
  virtual std::uint32_t PingBootloader() = 0;

  // Pings for at most 60 attempts. 0: no answer, or one to the last attempt only; anything else:
  // the application answered.
  virtual std::uint32_t PingApplication() = 0;

  // Runs the application's calibration, up to two minutes. Writes its first answer to standard
  // output; its reports go through the log. 1: it finished, 0: it did not answer or did not finish.
  virtual int Calibrate() = 0;

  // Asks the application to hand over to the bootloader.
  // Throws "Bootloader doesn't respond. Exiting".
  virtual void ActivateBootloader() = 0;

  // Asks the bootloader to start the application.
  // Throws "Application doesn't respond. Exiting".
  virtual void ActivateApplication() = 0;

  // Sends the low byte of `command` and returns the answer, its line ends and one '\0' included.
  // Throws "Invalid response (bootloader is probably not activated or command is not implemented).
  // Exiting" for an empty answer and for one with a ';'.
  virtual std::string SendBootloaderCommand(std::uint32_t command) = 0;

  // The same, asked of the application: the text says so; the answer to 0x62 is without CR, LF and
  // NUL.
  virtual std::string SendApplicationCommand(std::uint32_t command) = 0;

  // Uploads an image to the active bootloader; the file's name tells the board that it is for.
  // Returns when the bootloader has confirmed the image. Throws, before anything is sent:
  // "Unable to open file : " and the path, "Unable to read file : " and the path, "No definition
  // associate with file name. ie : image_d.bin for QDL-R2 board"; and during the transfer:
  // "!!! YModem transmit failed. Exiting", "!!! YModem transfer on boot loader failed. Exiting".
  // Waits indefinitely for a bootloader that doesn't ask for the image.
  virtual void UploadImage(const std::string& image_path) = 0;

  // The same for a file of any name, which `infos` describes to the bootloader. Throws also "Exceed
  // size limit detected. Exiting" when the three texts don't fit into packet 0.
  virtual void UploadImageWithInfos(const std::string& image_path, const AppInfos& infos) = 0;

  // Sets the verbose flag of the process-wide log.
  virtual void SetVerbose(bool verbose) = 0;

  // Replaces the callback that follows uploads; an empty one turns that off.
  virtual void SetTransferCallback(TransferProgress callback) = 0;

  // Asks the bootloader for its description. A question that it doesn't know ("U") leaves its field
  // empty. Asks again, indefinitely, as long as an answer says that the board can't yet.
  virtual DeviceInfos ReadBootloaderInfos() = 0;

  // Asks the application for its safe-boot status and its description, again in the same way; a "U"
  // is an answer like any other. Throws "Application doesn't respond or boot status command not
  // implemented !" when the status is empty.
  virtual DeviceInfos ReadApplicationInfos() = 0;

  // Sends the application the six bytes that restore its default parameters; reads nothing.
  virtual void RestoreDefaultParameters() = 0;

  // Sends one byte and returns the answer without CR, LF and NUL, which may be empty.
  // Throws "Invalid command. Exiting" when the answer is "U".
  virtual std::string SendCharacter(std::uint8_t character) = 0;

  virtual ~IBootLoader() = default;
};

}  // namespace kvo::bootloadertms
