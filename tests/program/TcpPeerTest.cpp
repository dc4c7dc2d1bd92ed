#include "program/TcpPeer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/RunningProgram.h"

namespace kvo::bootloadertms::testing {
namespace {

// A script of bash in which descriptor 3 is a connection to the peer.
std::vector<std::string> Connected(const TcpPeer& peer, const std::string& script) {
  const std::string port = peer.Address().substr(peer.Address().find(':') + 1);
  return {"bash", "-c", "exec 3<>/dev/tcp/127.0.0.1/" + port + " && " + script};
}

TEST(TcpPeerTest, RefusesConnectionsUntilItListens) {
  TcpPeer peer;
  RunningProgram refused(Connected(peer, "true"));
  EXPECT_EQ(refused.Wait(), 1);
  peer.Listen();
  RunningProgram connected(Connected(peer, "true"));
  EXPECT_EQ(connected.Wait(), 0);
}

TEST(TcpPeerTest, TalksToWhomItAccepts) {
  TcpPeer peer;
  peer.Listen();
  RunningProgram program(Connected(peer, "printf question >&3 && head -c 6 <&3"));
  peer.Accept();
  EXPECT_EQ(peer.Receive(5), "quest");
  EXPECT_EQ(peer.Receive(3), "ion");
  peer.Send("answer");
  EXPECT_EQ(program.Wait(), 0);
  EXPECT_EQ(program.Output(), "answer");
}

TEST(TcpPeerTest, ReceivesLessWhenTheConnectionEnds) {
  TcpPeer peer;
  peer.Listen();
  const RunningProgram program(Connected(peer, "printf all >&3"));
  peer.Accept();
  EXPECT_EQ(peer.Receive(100), "all");
}

TEST(TcpPeerTest, HangsUp) {
  TcpPeer peer;
  peer.Listen();
  RunningProgram program(Connected(peer, "cat <&3"));
  peer.Accept();
  peer.HangUp();
  EXPECT_EQ(program.Wait(), 0);
  EXPECT_EQ(program.Output(), "");
}

}  // namespace
}  // namespace kvo::bootloadertms::testing
