#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "client/BootLoader.h"
#include "log/LogMess.h"
#include "support/HeldLocks.h"
#include "support/RuntimeErrorOf.h"
#include "support/Script.h"

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

  Script script_;
  BootLoader client_;
};

}  // namespace kvo::bootloadertms::testing
