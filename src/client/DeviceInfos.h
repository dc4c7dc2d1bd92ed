#pragma once

#include <string>
#include <utility>

namespace kvo::bootloadertms {

// What a board told about itself: the answers to the questions 's', 'h', 'p', 'V', 'v' and 'b', as
// received but for CR, LF and NUL. Their meaning is the board's.
class DeviceInfos {
 public:
  // All fields empty.
  DeviceInfos() = default;
  DeviceInfos(std::string answer_s, std::string answer_h, std::string answer_p,
              std::string answer_upper_v, std::string answer_v, std::string boot_status)
      : answerS(std::move(answer_s)),
        answerH(std::move(answer_h)),
        answerP(std::move(answer_p)),
        answerUpperV(std::move(answer_upper_v)),
        answerV(std::move(answer_v)),
        bootStatus(std::move(boot_status)) {}

  // The references live as long as the record.
  const std::string& GetAnswerS() const { return answerS; }
  const std::string& GetAnswerH() const { return answerH; }
  const std::string& GetAnswerP() const { return answerP; }
  const std::string& GetAnswerUpperV() const { return answerUpperV; }
  const std::string& GetAnswerV() const { return answerV; }
  // The application's answer to 'b'; "BL_OK" in the record of a bootloader.
  const std::string& GetBootStatus() const { return bootStatus; }

 private:
  std::string answerS;
  std::string answerH;
  std::string answerP;
  std::string answerUpperV;
  std::string answerV;
  std::string bootStatus;
};

}  // namespace kvo::bootloadertms
