#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "program/boards/BoardsProgram.h"

namespace kvo::bootloadertms::testing {

// For simulated boards.
inline const std::vector<std::string> kInBootloader = {"--state", "bootloader"};

// How many boards ended how at which port: {{"a flashed", 2}, {"b refused", 1}}.
using Results = std::map<std::string, int>;

// kvo-boards watch on a folder of links to boards. Nothing but the transfer is done with a board,
// which stays in its bootloader and can be flashed as often as it comes.
class WatchProgram : public ::testing::Test {
 protected:
  // The program ends before the boards go: links that are left could lead to another test's boards,
  // as numbers of terminals are used again at once.
  void TearDown() override { program_.reset(); }

  // Makes a link to the device, and the folders on the way to it, or removes it.
  void Plug(const std::string& name, const std::string& device) const;
  void Unplug(const std::string& name) const;
  // Does so until the program begins with it, so that it watches from then on.
  void PlugUntilBegun(const std::string& name, const std::string& device);

  // Starts the program on these names, or on all.
  void Start(const std::vector<std::string>& options = {},
             const std::vector<std::string>& names = {"*"});
  // On patterns that begin in a folder of the ports.
  void StartIn(const std::string& folder, const std::vector<std::string>& options,
               const std::vector<std::string>& patterns);

  // Waits for something that must come; the test ends when it doesn't.
  void WaitUntil(const std::function<bool()>& condition, const std::string& what);
  // Until so many events of a kind have come, from one port or from all.
  void WaitFor(const std::string& kind, const std::string& name, std::size_t count = 1);
  void WaitForText(const std::string& text);
  // What has come so far.
  std::size_t Count(const std::string& kind, const std::string& name);
  const std::vector<Json>& Events();

  // Sends it, to the program or as `kill` understands a process, and waits until the program knows.
  void Signal(int signal);
  void Signal(int signal, pid_t to);

  // When the run has ended. Each board must have its own results, and the summary all of them.
  Results ResultsAtTheEnd(int exit_status);
  // When one more board has come, been flashed, and not been followed by anything: what was to come
  // before has. That board, at a port of this name, isn't among the results.
  Results ResultsAfterOneMore(const std::string& name = "last");

  const TemporaryFolder folder_;
  const TemporaryFolder ports_;
  const std::string image_ = ImageOf(1000);  // of one block
  const std::string image_path_ = folder_.WriteFile("fw_tv.bin", image_);
  std::vector<std::string> run_by_;
  std::vector<std::string> format_ = {"--json"};
  std::string answer_timeout_ = "20000";  // as good as none
  std::unique_ptr<RunningProgram> program_;

 private:
  std::string NameOf(const Json& event) const;
  void ExpectOneAfterTheOther(const std::vector<Json>& events) const;

  std::vector<Json> events_;
  std::size_t read_ = 0;  // of the output
};

// How many images were sent to the board. Ends it.
std::size_t ImagesSentTo(SimulatedBoard& board);

}  // namespace kvo::bootloadertms::testing
