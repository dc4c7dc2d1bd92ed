#include "client/BootLoader.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "log/LogMess.h"
#include "support/HeldLocks.h"
#include "support/Script.h"
#include "support/ScriptedSerialPort.h"

namespace kvo::bootloadertms {
namespace {

using testing::Script;
using testing::ScriptedSerialPort;

TEST(BootLoaderTest, TakesAReadyPortAsItIsAndClosesItOnceAtTheEnd) {
  Script script;  // has no step: nothing may be done to the port
  { const BootLoader client(std::make_unique<ScriptedSerialPort>(script)); }
  EXPECT_EQ(script.CloseCount(), 1);
}

TEST(BootLoaderTest, AnEmptyPortIsAnError) {
  try {
    const BootLoader client(std::unique_ptr<ISerialPort>{});
    FAIL() << "no error";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "No serial port given. Exiting");
  }
}

TEST(BootLoaderTest, SetVerboseSwitchesTheProcessWideLog) {
  Script script;
  BootLoader client(std::make_unique<ScriptedSerialPort>(script));
  client.SetVerbose(true);
  EXPECT_TRUE(LogMess::GetInstance().IsVerbose());
  client.SetVerbose(false);
  EXPECT_FALSE(LogMess::GetInstance().IsVerbose());
}

// Counts the living and all the copies of itself, to tell when a callback is given up.
struct Counted {
  Counted(int& living_counter, int& copy_counter) : living(&living_counter), copies(&copy_counter) {
    ++*living;
  }
  Counted(const Counted& other) : living(other.living), copies(other.copies) {
    ++*living;
    ++*copies;
  }
  Counted& operator=(const Counted&) = delete;
  ~Counted() { --*living; }
  void operator()(bool /*failed*/, double /*fraction*/) const {}
  int* living;
  int* copies;
};

TEST(BootLoaderTest, ATransferCallbackIsHeldUntilItIsReplacedOrTheClientEnds) {
  int first = 0;
  int second = 0;
  int copies = 0;
  Script script;
  {
    BootLoader client(std::make_unique<ScriptedSerialPort>(script));
    client.SetTransferCallback(Counted(first, copies));
    EXPECT_EQ(first, 1);
    client.SetTransferCallback(Counted(second, copies));
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 1);
  }
  EXPECT_EQ(second, 0);
}

TEST(BootLoaderTest, ATransferCallbackIsMovedIn) {
  int living = 0;
  int copies = 0;
  Script script;
  BootLoader client(std::make_unique<ScriptedSerialPort>(script));
  TransferProgress callback = Counted(living, copies);
  copies = 0;
  client.SetTransferCallback(std::move(callback));
  EXPECT_EQ(copies, 0);
}

TEST(BootLoaderTest, TheSettersDoNotLock) {
  Script script;
  BootLoader client(std::make_unique<ScriptedSerialPort>(script));
  const int taken = testing::LocksTaken();
  client.SetVerbose(false);
  client.SetTransferCallback(nullptr);
  EXPECT_EQ(testing::LocksTaken(), taken);
}

TEST(BootLoaderTest, TheDestructorClosesThePortUnderTheLock) {
  Script script;
  std::unique_ptr<IBootLoader> client =
      std::make_unique<BootLoader>(std::make_unique<ScriptedSerialPort>(script));
  script.RequireOneLock();
  client.reset();
  EXPECT_EQ(script.CloseCount(), 1);
}

// A port that can't be closed.
class StuckPort : public ScriptedSerialPort {
 public:
  using ScriptedSerialPort::ScriptedSerialPort;
  int Close() override { throw std::runtime_error("stuck"); }
};

TEST(BootLoaderDeathTest, ACloseThatFailsInTheDestructorEndsTheProgram) {
  EXPECT_DEATH(
      {
        Script script;
        const BootLoader client(std::make_unique<StuckPort>(script));
      },
      "terminate");
}

// Tells in `order` when it is closed and when it ends.
class EndingPort : public ScriptedSerialPort {
 public:
  EndingPort(Script& script, std::string& order) : ScriptedSerialPort(script), order_(order) {}
  EndingPort(const EndingPort&) = delete;
  EndingPort& operator=(const EndingPort&) = delete;
  ~EndingPort() override { order_ += "port "; }
  int Close() override {
    order_ += "close ";
    return ScriptedSerialPort::Close();
  }

 private:
  std::string& order_;
};

TEST(BootLoaderTest, EndsByClosingUnlockingAndTheEndsOfCallbackAndPort) {
  Script script;
  std::string order;
  {
    BootLoader client(std::make_unique<EndingPort>(script, order));
    const std::shared_ptr<std::string> told(&order, [](std::string* text) {
      *text += testing::HeldLocks() == 0 ? "unlocked callback " : "callback ";
    });
    client.SetTransferCallback([told](bool, double) {});
  }
  EXPECT_EQ(order, "close unlocked callback port ");
}

TEST(BootLoaderTest, IsNotCopied) { EXPECT_FALSE(std::is_copy_constructible_v<BootLoader>); }

}  // namespace
}  // namespace kvo::bootloadertms
