#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "program/Programs.h"

namespace kvo::bootloadertms::testing {

inline bool Becomes(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
  }
  return true;
}

// A shell's commands in a real terminal emulator of their own.
class Screen {
 public:
  Screen(int columns, int rows, const std::string& commands) {
    Tmux({"new-session", "-d", "-x", std::to_string(columns), "-y", std::to_string(rows), "sh",
          "-c", "trap : INT\n" + commands + "\ntrap '' INT\nexec cat"});
  }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;
  ~Screen() { Tmux({"kill-server"}); }

  // What is to be seen, without empty lines at its end; with `options` of tmux's capture-pane.
  std::string Text(const std::vector<std::string>& options = {}) const {
    std::vector<std::string> arguments = {"capture-pane", "-p"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const std::string text = Tmux(arguments);
    return text.substr(0, text.find_last_not_of('\n') + 1);
  }

  // The same with all that has scrolled away.
  std::string WholeText() const { return Text({"-S", "-"}); }

  // Waits until all that is to be seen is this.
  void ExpectToBecome(const std::string& pattern) const {
    EXPECT_TRUE(Becomes([&] { return std::regex_match(Text(), std::regex(pattern)); }))
        << pattern << "\n"
        << Text();
  }

  // Waits until this is a part of what is to be seen.
  void WaitFor(const std::string& part) const {
    EXPECT_TRUE(Becomes([&] { return Text().find(part) != std::string::npos; })) << Text();
  }

  // From now on, all bytes that the terminal gets are in this file, too.
  void RecordTo(const std::string& path) const { Tmux({"pipe-pane", "cat > '" + path + "'"}); }

  void Press(const std::string& key) const { Tmux({"send-keys", key}); }
  void SetColumns(int columns) const { Tmux({"resize-window", "-x", std::to_string(columns)}); }

 private:
  std::string Tmux(const std::vector<std::string>& arguments) const {
    std::vector<std::string> command = {"/usr/bin/env",         "tmux", "-S",
                                        folder_.Path("socket"), "-f",   "/dev/null"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const Outcome outcome = RunProgram(command);
    EXPECT_EQ(outcome.exit_status, 0) << outcome.error_output;
    return outcome.output;
  }

  TemporaryFolder folder_;
};

}  // namespace kvo::bootloadertms::testing
