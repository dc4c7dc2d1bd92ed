#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <system_error>

#include "client/BootLoader.h"
#include "log/LogMess.h"
#include "support/HeldLocks.h"
#include "support/RuntimeErrorOf.h"
#include "support/Script.h"
#include "support/ScriptedSerialPort.h"

namespace kvo::bootloadertms::testing {

// A client on a scripted port, which must hold its mutex whenever it uses the port or sleeps, and
// nothing in between. The process-wide log is silent unless a test calls `MakeVerbose`.
class ClientFixture : public ::testing::Test {
 protected:
  ClientFixture() : client_(std::make_unique<ScriptedSerialPort>(script_)) {
    script_.RequireOneLock();
  }
  ~ClientFixture() override {
    EXPECT_EQ(HeldLocks(), 0);
    LogMess::GetInstance().SetVerbose(false);
  }

  void MakeVerbose() { client_.SetVerbose(true); }

  // That `call` fails with the port's own error, unchanged, and leaves the mutex free.
  template <typename Call>
  void ExpectThePortsError(const Call& call) {
    try {
      call();
      ADD_FAILURE() << "no error";
    } catch (const std::system_error& error) {
      EXPECT_EQ(error.code(), std::error_code(EFAULT, std::system_category()));
    }
    EXPECT_EQ(HeldLocks(), 0);
  }

  // That the client is as usable as before: its mutex is free, its port answers.
  void ExpectUsable() {
    using namespace std::chrono_literals;
    EXPECT_EQ(HeldLocks(), 0);
    LogMess::GetInstance().SetVerbose(false);
    script_.FlushInput().Write({0x30}).AnswerByte('A').Sleep(50ms);
    EXPECT_EQ(client_.PingBootloader(), 9U);
  }

  Script script_;
  BootLoader client_;
};

}  // namespace kvo::bootloadertms::testing
