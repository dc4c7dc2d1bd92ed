#include "client/BootLoader.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "log/LogMess.h"
#include "support/HeldLocks.h"
#include "support/RuntimeErrorOf.h"
#include "support/Script.h"

namespace kvo::bootloadertms {
namespace {

using testing::RuntimeErrorOf;
using testing::Script;
using testing::ScriptedSerialPort;

TEST(BootLoaderTest, TakesAReadyPortAsItIsAndClosesItOnceAtTheEnd) {
  Script script;  // has no step: nothing may be done to the port
  { const BootLoader client(std::make_unique<ScriptedSerialPort>(script)); }
  EXPECT_EQ(script.CloseCount(), 1);
}

TEST(BootLoaderTest, AnEmptyPortIsAnError) {
  EXPECT_EQ(RuntimeErrorOf([] { const BootLoader client(std::unique_ptr<ISerialPort>{}); }),
            "No serial port given. Exiting");
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

// Tells in `order` when it is closed and when it ends.
class EndingPort : public ScriptedSerialPort {
 public:
  EndingPort(Script& script, std::string& order) : ScriptedSerialPort(script), order_(order) {}
  EndingPort(const EndingPort&) = delete;
  EndingPort& operator=(const EndingPort&) = delete;
  ~EndingPort() override { order_ += "port "; }
  int Close() override {
    order_ += testing::HeldLocks() == 1 ? "locked close " : "close ";
    return ScriptedSerialPort::Close();
  }

 private:
  std::string& order_;
};

TEST(BootLoaderTest, EndsByClosingUnderTheLockAndTheEndsOfCallbackAndPort) {
  Script script;
  std::string order;
  {
    BootLoader client(std::make_unique<EndingPort>(script, order));
    const std::shared_ptr<std::string> told(&order, [](std::string* text) {
      *text += testing::HeldLocks() == 0 ? "unlocked callback " : "callback ";
    });
    client.SetTransferCallback([told](bool, double) {});
  }
  EXPECT_EQ(order, "locked close unlocked callback port ");
}

}  // namespace
}  // namespace kvo::bootloadertms
