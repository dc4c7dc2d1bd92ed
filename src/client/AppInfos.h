#pragma once

#include <string>

namespace kvo::bootloadertms {

// The three texts by which an upload with an application record tells the bootloader what the image
// is. The caller of the upload fills it; only packet 0 reads it.
class AppInfos {
 public:
  AppInfos(std::string f1, std::string f2, std::string f3);
  AppInfos(const AppInfos&) = default;
  AppInfos& operator=(const AppInfos&) = default;
  virtual ~AppInfos() = default;

  // The references live as long as the record.
  const std::string& GetF1() const;
  const std::string& GetF2() const;
  const std::string& GetF3() const;

 private:
  std::string F1;
  std::string F2;
  std::string F3;
};

}  // namespace kvo::bootloadertms
