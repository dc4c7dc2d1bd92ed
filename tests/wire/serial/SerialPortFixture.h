#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <system_error>

#include "serial/SerialPortLinux.h"
#include "support/Files.h"
#include "support/TestTerminal.h"

namespace kvo::bootloadertms::testing {

// The value never tells the cause.
template <typename Call>
void ExpectSystemError(const Call& call) {
  try {
    call();
    FAIL() << "no error";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), std::error_code(14, std::system_category()));
    EXPECT_STREQ(error.what(), "Bad address");
  }
}

// A closed port on a pseudo-terminal whose far end the test plays.
class SerialPortFixture : public ::testing::Test {
 protected:
  void Open(std::int32_t timeout_ms = 0) {
    port_.SetTimeout(timeout_ms);
    port_.Open();
  }

  void SendToPort(const std::string& bytes) const { terminal_.Send(bytes); }

  // Makes the descriptor bad without the port knowing.
  void CloseDescriptorUnnoticed() const {
    for (const int descriptor : OpenDescriptorsOf(terminal_.Path())) {
      ::close(descriptor);
    }
  }

  TestTerminal terminal_;
  SerialPortLinux port_{terminal_.Path(), 115200};
};

}  // namespace kvo::bootloadertms::testing
