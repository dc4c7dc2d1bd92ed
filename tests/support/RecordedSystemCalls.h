#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace kvo::bootloadertms::testing {

// Writes down, for as long as the object lives, each call of `open`, `close`, `write`, `tcflush`,
// `tcgetattr`, `tcsetattr`, `popen` and `waitpid` that this process makes, and hands it on to the
// system or lets it fail:
//
//   RecordedSystemCalls calls;
//   calls.Fail("write", 2, EIO);
//   ...
//   EXPECT_EQ(calls.Texts(), (std::vector<std::string>{R"(open("/dev/ttyX", 0x101102))",
//                                                      R"(write(3, "a", 1))",
//                                                      R"(write(3, "b", 1))"}));
//
// Without an object these functions do what the system's own do, and allocate nothing. Calls from
// inside the C library are not seen. At most one object lives at a time, and one thread makes the
// calls.
//
// It has a library of its own, as every program that links it gets the functions.
class RecordedSystemCalls {
 public:
  RecordedSystemCalls();
  RecordedSystemCalls(const RecordedSystemCalls&) = delete;
  RecordedSystemCalls& operator=(const RecordedSystemCalls&) = delete;

  // Fails the test when a call that was to be answered specially did not come.
  ~RecordedSystemCalls();

  // The calls in their order, as above: texts as they are, flags of `open` in hexadecimal, all
  // other numbers in decimal; of settings nothing.
  const std::vector<std::string>& Texts() const { return texts_; }

  // Puts a line of the test's own among the calls, such as a sleep that it has seen.
  void Note(std::string text);

  // The `ordinal`th call, from 1, of this function, or of any if `name` is empty, isn't handed on
  // and fails with this `errno`; if `lasting`, so do all that follow.
  void Fail(const std::string& name, std::size_t ordinal, int error, bool lasting = false);

  // The `ordinal`th `write`, from 1, sends the first `length` bytes at most.
  void ShortenWrite(std::size_t ordinal, std::size_t length);

  // For the functions that stand in for the C library's: notes a call, and tells whether it fails
  // and how much it may write at most.
  struct Answer {
    int error = 0;
    std::size_t longest = static_cast<std::size_t>(-1);
  };
  static RecordedSystemCalls* Current();
  Answer Take(const std::string& name, const std::string& arguments);

 private:
  struct Rule {
    std::string name;
    std::size_t ordinal;
    bool lasting;
    Answer answer;
    bool has_come = false;
  };

  std::vector<std::string> texts_;
  std::map<std::string, std::size_t> counts_;  // under "" that of all
  std::vector<Rule> rules_;
};

}  // namespace kvo::bootloadertms::testing
