#include "client/DeviceInfos.h"

#include <utility>

namespace kvo::bootloadertms {

DeviceInfos::DeviceInfos(std::string answer_s, std::string answer_h, std::string answer_p,
                         std::string answer_upper_v, std::string answer_v, std::string boot_status)
    : answerS(std::move(answer_s)),
      answerH(std::move(answer_h)),
      answerP(std::move(answer_p)),
      answerUpperV(std::move(answer_upper_v)),
      answerV(std::move(answer_v)),
      bootStatus(std::move(boot_status)) {}

const std::string& DeviceInfos::GetAnswerS() const { return answerS; }
const std::string& DeviceInfos::GetAnswerH() const { return answerH; }
const std::string& DeviceInfos::GetAnswerP() const { return answerP; }
const std::string& DeviceInfos::GetAnswerUpperV() const { return answerUpperV; }
const std::string& DeviceInfos::GetAnswerV() const { return answerV; }
const std::string& DeviceInfos::GetBootStatus() const { return bootStatus; }

}  // namespace kvo::bootloadertms
