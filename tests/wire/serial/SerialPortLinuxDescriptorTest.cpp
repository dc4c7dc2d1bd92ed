#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "support/OpenDescriptors.h"
#include "wire/serial/SerialPortFixture.h"

namespace kvo::bootloadertms {
namespace {

using testing::OpenDescriptorsOf;

// What the descriptor of an open port is to the rest of the process.
class SerialPortLinuxDescriptorTest : public testing::SerialPortFixture {};

// Runs in a process without a controlling terminal, which the next terminal opened would become.
int ExitStatusOfOpeningIn(const std::string& device) {
  constexpr int kHasOne = 1;
  constexpr int kHasNone = 2;
  constexpr int kNoNewSession = 3;
  if (::setsid() == -1) {
    return kNoNewSession;
  }
  SerialPortLinux port(device, 115200);
  port.Open();
  return ::open("/dev/tty", O_RDWR) == -1 ? kHasNone : kHasOne;
}

TEST_F(SerialPortLinuxDescriptorTest, OpenMakesNoControllingTerminal) {
  const pid_t child = ::fork();
  ASSERT_NE(child, -1);
  if (child == 0) {
    ::_exit(ExitStatusOfOpeningIn(terminal_.Path()));
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 2);
}

TEST_F(SerialPortLinuxDescriptorTest, ProgramsStartedLaterInheritIt) {
  Open();
  const auto descriptors = OpenDescriptorsOf(terminal_.Path());
  ASSERT_EQ(descriptors.size(), 1U);
  EXPECT_EQ(::fcntl(descriptors.front(), F_GETFD), 0);
}

// Descriptor 0, which is an ordinary one to all operations but `Read`.
class SerialPortLinuxDescriptorZeroTest : public SerialPortLinuxDescriptorTest {
 protected:
  SerialPortLinuxDescriptorZeroTest() : standard_input_(::dup(STDIN_FILENO)) {
    ::close(STDIN_FILENO);
    Open(-1);
  }

  ~SerialPortLinuxDescriptorZeroTest() override {
    port_.Close();
    ::dup2(standard_input_, STDIN_FILENO);
    ::close(standard_input_);
  }

  int standard_input_;
};

TEST_F(SerialPortLinuxDescriptorZeroTest, IsWrittenTo) {
  ASSERT_EQ(OpenDescriptorsOf(terminal_.Path()), std::vector<int>{0});
  EXPECT_EQ(port_.Write("ab"), 2);
  port_.WriteSlowly("cd", 0);
  port_.WriteByte('e');
  EXPECT_EQ(terminal_.Receive(5), "abcde");
}

TEST_F(SerialPortLinuxDescriptorZeroTest, IsReadFrom) {
  ASSERT_EQ(OpenDescriptorsOf(terminal_.Path()), std::vector<int>{0});
  SendToPort("x");
  EXPECT_EQ(port_.ReadByte(), 'x');
}

TEST_F(SerialPortLinuxDescriptorZeroTest, IsClosed) {
  ASSERT_EQ(OpenDescriptorsOf(terminal_.Path()), std::vector<int>{0});
  EXPECT_EQ(port_.Close(), 0);
  EXPECT_EQ(::fcntl(0, F_GETFD), -1);
}

}  // namespace
}  // namespace kvo::bootloadertms
