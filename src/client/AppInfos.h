#pragma once

#include <string>
#include <utility>

namespace kvo::bootloadertms {

// The three texts by which an upload with an application record tells the bootloader what the image
// is. The caller of the upload fills it; only packet 0 reads it.
class AppInfos {
 public:
  AppInfos(std::string f1, std::string f2, std::string f3)
      : F1(std::move(f1)), F2(std::move(f2)), F3(std::move(f3)) {}

  // The references live as long as the record.
  const std::string& GetF1() const { return F1; }
  const std::string& GetF2() const { return F2; }
  const std::string& GetF3() const { return F3; }

 private:
  std::string F1;
  std::string F2;
  std::string F3;
};

}  // namespace kvo::bootloadertms
