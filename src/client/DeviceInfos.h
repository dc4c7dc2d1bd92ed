#pragma once

#include <string>

namespace kvo::bootloadertms {

// What a board told about itself: the answers to the questions 's', 'h', 'p', 'V', 'v' and 'b', as
// received but for CR, LF and NUL. Their meaning is the board's.
class DeviceInfos {
 public:
  // All fields empty.
  DeviceInfos() = default;
  DeviceInfos(std::string answer_s, std::string answer_h, std::string answer_p,
              std::string answer_upper_v, std::string answer_v, std::string boot_status);
  DeviceInfos(const DeviceInfos&) = default;
  DeviceInfos& operator=(const DeviceInfos&) = default;
  virtual ~DeviceInfos() = default;

  // The references live as long as the record.
  const std::string& GetAnswerS() const;
  const std::string& GetAnswerH() const;
  const std::string& GetAnswerP() const;
  const std::string& GetAnswerUpperV() const;
  const std::string& GetAnswerV() const;
  // The application's answer to 'b'; "BL_OK" in the record of a bootloader.
  const std::string& GetBootStatus() const;

 private:
  std::string answerS;
  std::string answerH;
  std::string answerP;
  std::string answerUpperV;
  std::string answerV;
  std::string bootStatus;
};

}  // namespace kvo::bootloadertms
