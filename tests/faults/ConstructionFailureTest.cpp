// Proves that whichever call of the system or allocation fails while a client opens a port, the
// construction ends as BootLoader.h says, tells what it is to tell, and leaks neither memory nor a
// descriptor; and that a port that can't be closed ends the program.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "client/BootLoader.h"
#include "faults/AllocationLedger.h"
#include "support/Files.h"
#include "support/HeldLocks.h"
#include "support/Output.h"
#include "support/Processes.h"
#include "support/RecordedSystemCalls.h"
#include "support/TestTerminal.h"

namespace kvo::bootloadertms::testing {
namespace {

class ConstructionFailureTest : public ::testing::Test {
 protected:
  // Makes a client and ends it. Allocates nothing itself but `outcome`'s memory.
  void LiveInto(std::string& outcome) const {
    try {
      const BootLoader client(terminal_.Path(), 115200);
      outcome.assign("open");
    } catch (const std::system_error& error) {
      const bool is_efault = error.code() == std::error_code(EFAULT, std::system_category());
      outcome.assign(is_efault ? "EFAULT" : "another system_error");
    } catch (const std::runtime_error& error) {
      outcome.assign(error.what());
    } catch (const std::bad_alloc&) {
      outcome.assign("bad_alloc");
    }
  }

  // With the `call`th call of the system failing, counted from 1: alone, or with all that follow.
  // 0: none fails. The result is the outcome, what was told on standard output, and what on
  // standard error.
  std::vector<std::string> LifeWithoutCall(std::size_t call, bool lasting) {
    const CapturedStream out(std::cout);
    const CapturedStream err(std::cerr);
    std::string outcome;
    {
      RecordedSystemCalls calls;
      if (call != 0) {
        calls.Fail("", call, EIO, lasting);
      }
      LiveInto(outcome);
      calls_ = NamesOf(calls.Texts());
    }
    EXPECT_EQ(HeldLocks(), 0);
    return {outcome, out.Text(), err.Text()};
  }

  // Lets one allocation of a client's life after the other fail until none is left to fail.
  void FailEachAllocation() {
    LifeWithoutAllocation(0);  // what is made once in a process is made now
    std::size_t failing = 1;
    std::string outcome = LifeWithoutAllocation(failing);
    while (WatchedAllocations::Count() >= failing && !HasFailure()) {
      EXPECT_EQ(outcome, "bad_alloc") << failing;
      ++failing;
      outcome = LifeWithoutAllocation(failing);
    }
    EXPECT_EQ(outcome, "open");
    EXPECT_GT(failing, 1U) << "nothing was tried";
  }

  // How many this process has open.
  static std::ptrdiff_t Descriptors() {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return std::distance(begin(descriptors), end(descriptors));
  }

  StandInTools tools_;
  PathOfThisProcess path_{tools_.Environment().at("PATH")};
  TestTerminal terminal_;
  std::string calls_;  // of the system, in the last life
  const std::string cannot_open_ =
      "Could not open device " + terminal_.Path() +
      ". Is the device name correct and do you have read/write permission or is the device busy?";
  const std::string cannot_get_ =
      "Could not get terminal attributes for \"" + terminal_.Path() + "\" - Input/output error\n";
  const std::string cannot_apply_ =
      "Could not apply terminal attributes for \"" + terminal_.Path() + "\" - Input/output error\n";

 private:
  // The calls' names, a blank after each.
  static std::string NamesOf(const std::vector<std::string>& calls) {
    std::string names;
    for (const std::string& call : calls) {
      names += call.substr(0, call.find('(')) + " ";
    }
    return names;
  }

  std::string LifeWithoutAllocation(std::size_t failing) {
    const SilencedOutput out(std::cout);
    const SilencedOutput err(std::cerr);
    std::string outcome;
    outcome.reserve(512);
    const std::ptrdiff_t descriptors = Descriptors();
    const std::ptrdiff_t allocations = LiveAllocations();
    {
      const WatchedAllocations watched(failing);
      LiveInto(outcome);
    }
    EXPECT_EQ(LiveAllocations(), allocations);
    EXPECT_EQ(Descriptors(), descriptors);
    EXPECT_EQ(HeldLocks(), 0);
    EXPECT_TRUE(std::cerr.good());
    return outcome;
  }
};

using Told = std::vector<std::string>;

TEST_F(ConstructionFailureTest, WhicheverCallFailsTheConstructionEndsAsOrdered) {
  const std::ptrdiff_t descriptors = Descriptors();
  EXPECT_EQ(LifeWithoutCall(0, false), (Told{"open", "", ""}));
  EXPECT_EQ(calls_, "popen popen open tcgetattr tcflush tcsetattr close ");

  EXPECT_EQ(LifeWithoutCall(1, false), (Told{"popen() failed!", "", ""}));
  EXPECT_EQ(LifeWithoutCall(2, false), (Told{"popen() failed!", "", ""}));
  EXPECT_EQ(LifeWithoutCall(3, false), (Told{cannot_open_, "", ""}));
  EXPECT_EQ(LifeWithoutCall(4, false), (Told{"EFAULT", cannot_get_, ""}));
  EXPECT_EQ(calls_, "popen popen open tcgetattr close ");
  EXPECT_EQ(LifeWithoutCall(5, false), (Told{"open", "", ""}));
  EXPECT_EQ(LifeWithoutCall(6, false), (Told{"EFAULT", cannot_apply_, ""}));
  EXPECT_EQ(calls_, "popen popen open tcgetattr tcflush tcsetattr close ");
  EXPECT_EQ(Descriptors(), descriptors);
}

TEST_F(ConstructionFailureTest, WhateverFailsFromACallOnTheConstructionEndsAsOrdered) {
  const std::string complaint = "!!something wrong on destruct SerialPortLinux object...\n";
  EXPECT_EQ(LifeWithoutCall(1, true), (Told{"popen() failed!", "", ""}));
  EXPECT_EQ(LifeWithoutCall(2, true), (Told{"popen() failed!", "", ""}));
  EXPECT_EQ(LifeWithoutCall(3, true), (Told{cannot_open_, "", ""}));
  EXPECT_EQ(LifeWithoutCall(4, true), (Told{"EFAULT", cannot_get_, complaint}));
  EXPECT_EQ(LifeWithoutCall(5, true), (Told{"EFAULT", cannot_apply_, complaint}));
  EXPECT_EQ(LifeWithoutCall(6, true), (Told{"EFAULT", cannot_apply_, complaint}));
  // Each of these three tried once to close what it had opened.
  EXPECT_EQ(calls_, "popen popen open tcgetattr tcflush tcsetattr close ");
  const std::vector<int> not_closed = OpenDescriptorsOf(terminal_.Path());
  EXPECT_EQ(not_closed.size(), 3U);
  std::for_each(not_closed.begin(), not_closed.end(), ::close);
}

TEST_F(ConstructionFailureTest, WhicheverAllocationFailsTheConstructionEndsWithBadAlloc) {
  FailEachAllocation();
}

TEST_F(ConstructionFailureTest, SoDoesThatOnABusyPort) {
  tools_.LsofPrints("COMMAND    PID USER   FD   TYPE DEVICE SIZE/OFF NODE NAME");
  FailEachAllocation();
}

TEST(ConstructionFailureDeathTest, AFailedCloseInTheDestructorEndsTheProgram) {
  const TestTerminal terminal;
  EXPECT_DEATH(
      {
        RecordedSystemCalls calls;
        calls.Fail("close", 1, EIO);
        const BootLoader client(terminal.Path(), 115200);
      },
      "terminate called");
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
