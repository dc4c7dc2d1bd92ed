#include "client/AppInfos.h"

#include <utility>

namespace kvo::bootloadertms {

AppInfos::AppInfos(std::string f1, std::string f2, std::string f3)
    : F1(std::move(f1)), F2(std::move(f2)), F3(std::move(f3)) {}

const std::string& AppInfos::GetF1() const { return F1; }
const std::string& AppInfos::GetF2() const { return F2; }
const std::string& AppInfos::GetF3() const { return F3; }

}  // namespace kvo::bootloadertms
