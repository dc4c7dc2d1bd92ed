#include "support/Script.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <iostream>
#include <mutex>

namespace kvo::bootloadertms::testing {
namespace {

using namespace std::chrono_literals;

TEST(ScriptTest, PlaysItsStepsInOrder) {
  Script script;
  ScriptedSerialPort port(script);
  script.FlushInput().Write({0x30, 0x31}).AnswerByte('A').AnswerRead("OK").Sleep(50ms);
  script.Print("li").Print("ne\n").FlushOutput().Progress(false, 0.25);

  EXPECT_EQ(port.FlushInput(), 0);
  port.WriteByte(0x30);
  port.WriteByte(0x31);
  EXPECT_EQ(port.ReadByte(), 'A');
  std::string answer = "former content";
  port.Read(answer);
  EXPECT_EQ(answer, "OK");
  ::usleep(50'000);
  std::cout << "li"
            << "ne" << std::endl;
  script.ProgressCallback()(false, 0.25);
}

TEST(ScriptTest, ASleepCanBeInterruptedAndTheWallClockSet) {
  Script script;
  ScriptedSerialPort port(script);
  script.FlushInput().WallClockAdvances(2s).SleepInterrupted(500ms, 200ms);
  const auto start = std::chrono::system_clock::now();
  port.FlushInput();
  EXPECT_EQ(std::chrono::system_clock::now() - start, 2s);
  EXPECT_EQ(::usleep(500'000), -1);
  EXPECT_EQ(std::chrono::system_clock::now() - start, 2s + 200ms);
}

TEST(ScriptTest, CountsClosesOfThePort) {
  Script script;
  ScriptedSerialPort port(script);
  port.Close();
  EXPECT_EQ(script.CloseCount(), 1);
}

TEST(ScriptTest, RepeatsSteps) {
  Script script;
  ScriptedSerialPort port(script);
  script.Times(2, [](Script& steps) { steps.FlushInput().Write({7}); });
  for (int i = 0; i < 2; ++i) {
    port.FlushInput();
    port.WriteByte(7);
  }
}

// Each of these breaks a script in one way; the script must fail the test that does so.
void LeaveAStepOver() { Script().FlushInput(); }

void LeaveABytesRestOver() {
  Script script;
  script.Write({1, 2});
  ScriptedSerialPort(script).WriteByte(1);
}

void WriteAnotherByte() {
  Script script;
  script.Write({1});
  EXPECT_THROW(ScriptedSerialPort(script).WriteByte(2), ScriptBroken);
}

void ReadInsteadOfWriting() {
  Script script;
  script.Write({1});
  EXPECT_THROW(ScriptedSerialPort(script).ReadByte(), ScriptBroken);
}

void ReadWithinAWrite() {
  Script script;
  script.Write({1, 2}).AnswerByte(3);
  ScriptedSerialPort port(script);
  port.WriteByte(1);
  EXPECT_THROW(port.ReadByte(), ScriptBroken);
}

void DoMoreThanTheScriptHas() {
  Script script;
  EXPECT_THROW(ScriptedSerialPort(script).FlushInput(), ScriptBroken);
}

void SleepLonger() {
  Script script;
  script.Sleep(50ms);
  EXPECT_THROW(::usleep(50'001), ScriptBroken);
}

void PrintAnotherText() {
  Script script;
  script.Print("one").FlushInput();
  std::cout << "two";
  EXPECT_THROW(ScriptedSerialPort(script).FlushInput(), ScriptBroken);
}

void PrintAtTheEnd() {
  const Script script;
  std::cout << "unexpected";
}

void PrintNothing() {
  Script script;
  script.Print("one").FlushInput();
  EXPECT_THROW(ScriptedSerialPort(script).FlushInput(), ScriptBroken);
}

void ReportOtherProgress() {
  Script script;
  script.Progress(false, 0.5);
  EXPECT_THROW(script.ProgressCallback()(true, 0.5), ScriptBroken);
}

void OpenThePort() {
  Script script;
  EXPECT_THROW(ScriptedSerialPort(script).Open(), std::logic_error);
}

void CallThePortWithoutALock() {
  Script script;
  script.FlushInput();
  script.RequireOneLock();
  ScriptedSerialPort(script).FlushInput();
}

void SleepWithTwoLocks() {
  Script script;
  script.Sleep(1ms);
  script.RequireOneLock();
  std::mutex one;
  std::mutex two;
  const std::lock_guard first(one);
  const std::lock_guard second(two);
  ::usleep(1'000);
}

TEST(ScriptTest, AnotherNumberOfLocksFails) {
  EXPECT_NONFATAL_FAILURE(CallThePortWithoutALock(), "mutexes held in FlushInput");
  EXPECT_NONFATAL_FAILURE(SleepWithTwoLocks(), "mutexes held in a sleep");
}

TEST(ScriptTest, WhatIsLeftOverFails) {
  EXPECT_NONFATAL_FAILURE(LeaveAStepOver(), "left over, the first is FlushInput");
  EXPECT_NONFATAL_FAILURE(LeaveABytesRestOver(), "left over, the first is Write");
}

TEST(ScriptTest, AnotherActionFails) {
  EXPECT_NONFATAL_FAILURE(ReadInsteadOfWriting(), "done: AnswerByte(\"\"); expected: Write");
  EXPECT_NONFATAL_FAILURE(ReadWithinAWrite(), "expected: Write(\"\\x01\\x02\") at byte 1");
  EXPECT_NONFATAL_FAILURE(DoMoreThanTheScriptHas(), "expected: nothing more");
  EXPECT_NONFATAL_FAILURE(OpenThePort(), "unexpected call of Open");
}

TEST(ScriptTest, OtherValuesFail) {
  EXPECT_NONFATAL_FAILURE(WriteAnotherByte(), "done: Write(\"\\x02\")");
  EXPECT_NONFATAL_FAILURE(SleepLonger(), "done: Sleep(\"50001000 ns\")");
  EXPECT_NONFATAL_FAILURE(PrintAnotherText(), "done: Print(\"two\")");
  EXPECT_NONFATAL_FAILURE(PrintAtTheEnd(), "done: Print(\"unexpected\")");
  EXPECT_NONFATAL_FAILURE(PrintNothing(), "expected: Print(\"one\")");
  EXPECT_NONFATAL_FAILURE(ReportOtherProgress(), "done: Progress(\"true, 0.5\")");
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
