#include "boards/ports/ExclusiveTerminal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "boards/UniqueDescriptor.h"
#include "support/Files.h"
#include "support/Processes.h"
#include "support/TestTerminal.h"
#include "wire/boards/FailingCall.h"

namespace kvo::boards {
namespace {

using bootloadertms::testing::OpenDescriptorsOf;
using bootloadertms::testing::RunningProgram;
using bootloadertms::testing::TemporaryFolder;
using bootloadertms::testing::TestTerminal;
using testing::FailingCall;

class ExclusiveTerminalTest : public ::testing::Test {
 protected:
  static std::unique_ptr<BoardPort> PortAt(const std::string& path, int timeout_ms = 0) {
    return MakePort(ParsePort(path), 115200, std::chrono::milliseconds(timeout_ms));
  }

  // Opens the port, which must fail, and returns the message.
  static std::string FailureAt(const std::string& path, Reason reason) {
    try {
      PortAt(path)->Open();
    } catch (const PortFailure& failure) {
      EXPECT_EQ(NumberOf(failure.GetReason()), NumberOf(reason)) << failure.what();
      return failure.what();
    }
    ADD_FAILURE() << "opened: " << path;
    return "";
  }

  static int NumberOf(Reason reason) { return static_cast<int>(reason); }

  // A shell that has the terminal open, and runs `command` then.
  static std::unique_ptr<RunningProgram> HolderOf(const std::string& path,
                                                  const std::string& command = ":") {
    auto holder = std::make_unique<RunningProgram>(std::vector<std::string>{
        "/bin/sh", "-c", "exec 3<>\"$0\" && " + command + " && echo open && read wait <&3", path});
    EXPECT_EQ(holder->FirstLine(), "open");
    return holder;
  }

  // Whether somebody with no rights but those to the file can open it, and with `flock` lock it.
  bool OthersCanOpen() const {
    std::filesystem::permissions(terminal_.Path(), std::filesystem::perms{0666});
    std::vector<std::string> command = {"/bin/sh", "-c", "exec 3<>\"$0\"", terminal_.Path()};
    if (::geteuid() == 0) {
      command.insert(command.begin(), {"setpriv", "--reuid=65534", "--clear-groups"});
    }
    return RunningProgram(command).Wait() == 0;
  }
  bool OthersCanLock() const {
    return RunningProgram({"flock", "--nonblock", terminal_.Path(), "true"}).Wait() == 0;
  }

  // Without root's rights, as far as there are any.
  static void AsNobody(const std::function<void()>& call) {
    const bool is_root = ::geteuid() == 0;
    const auto group = ::getegid();
    ASSERT_TRUE(!is_root || (::setegid(65534) == 0 && ::seteuid(65534) == 0));
    call();
    ASSERT_TRUE(!is_root || (::seteuid(0) == 0 && ::setegid(group) == 0));
  }

  const TestTerminal terminal_;
};

void ExpectSameSettings(const termios& one, const termios& other) {
  EXPECT_EQ(one.c_iflag, other.c_iflag);
  EXPECT_EQ(one.c_oflag, other.c_oflag);
  EXPECT_EQ(one.c_cflag, other.c_cflag);
  EXPECT_EQ(one.c_lflag, other.c_lflag);
  EXPECT_EQ(one.c_cc[VMIN], other.c_cc[VMIN]);
  EXPECT_EQ(one.c_cc[VTIME], other.c_cc[VTIME]);
}

TEST_F(ExclusiveTerminalTest, BytesGoThroughInBothDirectionsAsTheyAre) {
  const auto port = PortAt(terminal_.Path(), 20'000);
  port->Open();
  for (int byte = 0; byte < 256; ++byte) {
    const std::string sent(1, static_cast<char>(byte));
    port->Write(sent);
    EXPECT_EQ(terminal_.Receive(1), sent);
    terminal_.Send(sent);
    EXPECT_EQ(port->ReadByte(), byte);
    EXPECT_TRUE(port->HasRead());
  }
}

TEST_F(ExclusiveTerminalTest, TheLineIsRawAtItsSpeedAndThenAsItWasFound) {
  termios found = terminal_.Settings();
  found.c_lflag |= ICANON | ECHO;
  found.c_iflag |= ICRNL | IXON;
  found.c_cc[VMIN] = 7;
  ::cfsetspeed(&found, B38400);
  terminal_.SetSettings(found);

  const auto port = PortAt(terminal_.Path());
  port->Open();
  const termios raw = terminal_.Settings();
  EXPECT_EQ(raw.c_lflag & (ICANON | ECHO), 0U);
  EXPECT_EQ(::cfgetospeed(&raw), speed_t{B115200});
  ExpectSameSettings(port->GetBorrowed().found, found);

  port->Close();
  ExpectSameSettings(terminal_.Settings(), found);
}

TEST_F(ExclusiveTerminalTest, NobodyElseCanHaveItUntilItIsClosed) {
  const auto port = PortAt(terminal_.Path());
  port->Open();
  EXPECT_FALSE(OthersCanOpen());
  EXPECT_FALSE(OthersCanLock());
  EXPECT_EQ(FailureAt(terminal_.Path(), Reason::kBusy), "in use by another program");
  EXPECT_FALSE(OthersCanOpen());  // after the one that was refused, too

  port->Close();
  EXPECT_TRUE(OthersCanOpen());
  EXPECT_TRUE(OthersCanLock());
  port->Open();
}

TEST_F(ExclusiveTerminalTest, ADuplicateOfTheDescriptorDoesntKeepTheLock) {
  const auto port = PortAt(terminal_.Path());
  port->Open();
  const UniqueDescriptor duplicate(::dup(port->GetBorrowed().descriptor));
  port->Close();
  EXPECT_TRUE(OthersCanOpen());
  EXPECT_TRUE(OthersCanLock());
}

TEST_F(ExclusiveTerminalTest, APortThatAnotherProcessMerelyHasOpenIsBusyUnderAnyName) {
  const auto holder = HolderOf(terminal_.Path());
  const TemporaryFolder folder;
  std::filesystem::create_symlink(terminal_.Path(), folder.Path("link"));
  const std::string text = "in use by sh (process " + std::to_string(holder->Id()) + ")";
  EXPECT_EQ(FailureAt(terminal_.Path(), Reason::kBusy), text);
  EXPECT_EQ(FailureAt(folder.Path("link"), Reason::kBusy), text);
  EXPECT_TRUE(OthersCanLock());
  EXPECT_TRUE(OthersCanOpen());
}

TEST_F(ExclusiveTerminalTest, APortThatAnotherProcessHasLockedIsBusy) {
  const auto holder = HolderOf(terminal_.Path(), "flock --nonblock 3");
  EXPECT_EQ(FailureAt(terminal_.Path(), Reason::kBusy),
            "in use by sh (process " + std::to_string(holder->Id()) + ")");
}

TEST_F(ExclusiveTerminalTest, ControlCharactersInTheNameOfAHolderAreNotShown) {
  const auto holder = HolderOf(terminal_.Path(), R"(printf 'a\001\177b' >/proc/$$/comm)");
  EXPECT_EQ(FailureAt(terminal_.Path(), Reason::kBusy),
            "in use by a??b (process " + std::to_string(holder->Id()) + ")");
}

TEST_F(ExclusiveTerminalTest, ABusyPortIsLeftAsItIs) {
  const auto holder = HolderOf(terminal_.Path());
  const termios found = terminal_.Settings();
  FailureAt(terminal_.Path(), Reason::kBusy);
  ExpectSameSettings(terminal_.Settings(), found);
  EXPECT_TRUE(OpenDescriptorsOf(terminal_.Path()).empty());
}

TEST_F(ExclusiveTerminalTest, WhatIsNotThereIsMissing) {
  const TemporaryFolder folder;
  EXPECT_EQ(FailureAt(folder.Path("none"), Reason::kMissing), "there is no such device");
  EXPECT_EQ(FailureAt("/dev/x;reboot", Reason::kMissing), "there is no such device");
  EXPECT_EQ(FailureAt(folder.WriteFile("file", "") + "/below", Reason::kMissing),
            "can't be opened: Not a directory");
}

TEST_F(ExclusiveTerminalTest, WhatIsNoTerminalIsNamedSoAndNotTouched) {
  const TemporaryFolder folder;
  ASSERT_EQ(::mkfifo(folder.Path("fifo").c_str(), 0600), 0);
  for (const std::string& path : {folder.WriteFile("file", "content"), folder.Path(""),
                                  folder.Path("fifo"), std::string("/dev/zero")}) {
    EXPECT_EQ(FailureAt(path, Reason::kNotATerminal), "not a terminal") << path;
    EXPECT_TRUE(OpenDescriptorsOf(path).empty());
  }
}

TEST_F(ExclusiveTerminalTest, ATerminalThatMayNotBeOpenedIsAMatterOfPermission) {
  std::filesystem::permissions(terminal_.Path(), std::filesystem::perms::none);
  AsNobody(
      [&] { EXPECT_EQ(FailureAt(terminal_.Path(), Reason::kPermission), "permission denied"); });
}

TEST_F(ExclusiveTerminalTest, AGroupThatMayOpenTheTerminalIsNamed) {
  if (::geteuid() != 0) {
    GTEST_SKIP() << "only root can give it to a group that is known";
  }
  ASSERT_EQ(::chown(terminal_.Path().c_str(), 0, 0), 0);
  std::filesystem::permissions(terminal_.Path(), std::filesystem::perms{0660});
  AsNobody([&] {
    EXPECT_EQ(FailureAt(terminal_.Path(), Reason::kPermission),
              "permission denied; members of the group root may use it");
  });
}

TEST_F(ExclusiveTerminalTest, WhatCameForAFormerUserIsDiscarded) {
  const auto port = PortAt(terminal_.Path());
  port->Open();
  terminal_.Send("stale");
  port->Close();
  port->Open();
  std::string answer;
  port->Read(answer);
  EXPECT_EQ(answer, "");
}

TEST_F(ExclusiveTerminalTest, FlushInputDiscardsWhatHasArrived) {
  const auto port = PortAt(terminal_.Path(), 20'000);
  port->Open();
  terminal_.Send("xy");
  EXPECT_EQ(port->ReadByte(), 'x');
  EXPECT_EQ(port->FlushInput(), 0);
  terminal_.Send("z");
  EXPECT_EQ(port->ReadByte(), 'z');
}

TEST(ExclusiveTerminalLossTest, APortWhoseFarEndIsGoneIsLost) {
  using Operation = std::function<void(BoardPort&)>;
  for (const Operation& operation : {
           Operation([](BoardPort& port) { port.ReadByte(); }),
           Operation([](BoardPort& port) {
             std::string answer;
             port.Read(answer);
           }),
           Operation([](BoardPort& port) { port.WriteByte('0'); }),
           Operation([](BoardPort& port) { port.Write("0"); }),
           Operation([](BoardPort& port) { port.WriteSlowly("0", 0); }),
           Operation([](BoardPort& port) { port.FlushInput(); }),
       }) {
    TestTerminal terminal;
    const auto port =
        MakePort(ParsePort(terminal.Path()), 115200, std::chrono::milliseconds(20'000));
    port->Open();
    terminal.HangUp();
    try {
      operation(*port);
      ADD_FAILURE() << "no failure";
    } catch (const PortFailure& failure) {
      EXPECT_EQ(failure.GetReason(), Reason::kLost) << failure.what();
    }
    EXPECT_EQ(port->Close(), 0);
  }
}

TEST(ExclusiveTerminalLossTest, APacketThatCouldNotGoOutIsNotKept) {
  TestTerminal terminal;
  const auto port = MakePort(ParsePort(terminal.Path()), 115200, std::chrono::milliseconds(0));
  port->Open();
  port->WriteByte(1);
  terminal.HangUp();
  EXPECT_THROW(port->ReadByte(), PortFailure);
  EXPECT_FALSE(port->HasKeptBytes());
}

TEST(ExclusiveTerminalLossTest, AHangUpEndsAWaitWithoutALimit) {
  TestTerminal terminal;
  const auto port = MakePort(ParsePort(terminal.Path()), 115200, std::chrono::milliseconds(-1));
  port->Open();
  std::thread far_end([&terminal] { terminal.HangUp(); });
  EXPECT_THROW(port->ReadByte(), PortFailure);
  far_end.join();
}

TEST_F(ExclusiveTerminalTest, ATerminalThatOthersAreKeptOutOfIsBusy) {
  std::filesystem::permissions(terminal_.Path(), std::filesystem::perms{0666});
  const auto holder = PortAt(terminal_.Path());
  holder->Open();
  AsNobody([this] {
    EXPECT_THAT(FailureAt(terminal_.Path(), Reason::kBusy), ::testing::StartsWith("in use by "));
  });
}

TEST_F(ExclusiveTerminalTest, ADeviceFileWithoutADeviceDoesNotAnswer) {
  const FailingCall isatty("isatty", EIO, 0);
  EXPECT_EQ(FailureAt(terminal_.Path(), Reason::kMissing), "the device doesn't answer");
}

TEST_F(ExclusiveTerminalTest, ALockIsTriedAgainAfterASignalAlone) {
  const auto port = PortAt(terminal_.Path());
  {
    const FailingCall flock("flock", ENOLCK);
    EXPECT_THROW(port->Open(), std::system_error);
  }
  const FailingCall flock("flock", EINTR);
  port->Open();
  EXPECT_FALSE(OthersCanLock());
}

}  // namespace
}  // namespace kvo::boards
