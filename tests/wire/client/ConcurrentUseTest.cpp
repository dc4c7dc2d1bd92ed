// One client, two threads, a real line: operations follow each other and don't mix.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "client/BootLoader.h"
#include "support/Processes.h"
#include "support/TestTerminal.h"

namespace kvo::bootloadertms {
namespace {

using testing::PathOfThisProcess;
using testing::StandInTools;
using testing::TestTerminal;

TEST(ConcurrentUseTest, NoByteOfAnOperationStandsWithinAnother) {
  const StandInTools tools;
  const PathOfThisProcess path(tools.Environment().at("PATH"));
  const TestTerminal terminal;
  BootLoader client(terminal.Path(), 115200);
  std::thread other([&client] {
    for (int i = 0; i < 8; ++i) {
      client.SendCharacter('z');
    }
  });
  for (int i = 0; i < 3; ++i) {
    client.RestoreDefaultParameters();
  }
  other.join();
  const std::string sent = terminal.Receive(3 * 6 + 8);
  EXPECT_EQ(sent.size(), 26U);
  EXPECT_THAT(sent, ::testing::MatchesRegex("(z|Q6tCRL)*"));
}

}  // namespace
}  // namespace kvo::bootloadertms
