#include "boards/Plan.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/Files.h"
#include "support/RuntimeErrorOf.h"

namespace kvo::boards {
namespace {

using bootloadertms::testing::RuntimeErrorOf;
using bootloadertms::testing::TemporaryFolder;
using std::chrono::milliseconds;
using PortTimes = std::vector<milliseconds>;

PortTimes TimesOf(const Plan& plan, milliseconds Assignment::*time) {
  PortTimes times;
  for (const Assignment& assignment : plan.assignments) {
    times.push_back(assignment.*time);
  }
  return times;
}

CommandLine Flashing(const std::string& image, const std::vector<std::string>& ports) {
  CommandLine line;
  line.image = image;
  for (const std::string& port : ports) {
    line.ports.push_back(ParsePort(port));
  }
  return line;
}

// What is wrong with it.
std::string MistakeIn(const CommandLine& line) {
  return RuntimeErrorOf([&line] { MakePlan(line); });
}

class PlanTest : public ::testing::Test {
 protected:
  TemporaryFolder folder_;
};

TEST_F(PlanTest, AnImageIsDescribedByItsName) {
  const std::string image = folder_.WriteFile("fw_pu/image_tv.bin", std::string(1500, 'x'));
  const Plan plan = MakePlan(Flashing(image, {"/dev/null"}));
  EXPECT_EQ(plan.board, "TRK4_R1");
  EXPECT_EQ(plan.application, "TRK4-R1-APPLICATION");
  EXPECT_EQ(plan.bytes, 1500U);
  EXPECT_EQ(plan.command_line.image, image);
}

TEST_F(PlanTest, AnImageOfAnyNameIsDescribedByItsRecord) {
  CommandLine line = Flashing(folder_.WriteFile("image", "x"), {"/dev/null"});
  line.record = {"QDL-R2", "CORE-TAVI-WHEEL-ENGINE", "VER 1.0"};
  const Plan plan = MakePlan(line);
  EXPECT_EQ(plan.board, "QDL-R2");
  EXPECT_EQ(plan.application, "CORE-TAVI-WHEEL-ENGINE");
}

TEST_F(PlanTest, ARecordMustFitPacketZero) {
  CommandLine line = Flashing(folder_.WriteFile("image", "x"), {"/dev/null"});
  line.record = {std::string(50, '1'), std::string(50, '2'), "1234"};
  EXPECT_EQ(MistakeIn(line), "no error");
  line.record.at(2) += "5";
  EXPECT_EQ(MistakeIn(line),
            "the record is too long: F1, F2 and F3 can have 104 characters in total");
}

TEST_F(PlanTest, AnImageThatCannotBeFlashedIsToldInOneLine) {
  const std::string elf = folder_.WriteFile("elf_tv.bin",
                                            "\x7F"
                                            "ELF...");
  const std::string empty = folder_.WriteFile("empty_tv.bin", "");
  const std::string nameless = folder_.WriteFile("image_xx.bin", "x");
  const std::string missing = folder_.Path("a\nb_tv.bin");
  const std::vector<std::pair<std::string, std::string>> rows = {
      {elf, elf + " looks like an ELF file, not a raw binary; --raw sends it anyway"},
      {empty, empty + " is empty"},
      {nameless, nameless + ": its name has no board key, such as \"tv\" in fw_tv.bin; --record "
                            "describes an image with any name"},
      {missing, "Unable to open file : " + folder_.Path("a\\x0ab_tv.bin")},
      {folder_.Path(""), "Unable to read file : " + folder_.Path("")},
  };
  for (const auto& [image, text] : rows) {
    EXPECT_EQ(MistakeIn(Flashing(image, {"/dev/null"})), text);
  }
}

TEST_F(PlanTest, ARawImageMayLookLikeAnything) {
  CommandLine line = Flashing(folder_.WriteFile("elf_tv.bin",
                                                "\x7F"
                                                "ELF..."),
                              {"/dev/null"});
  line.raw = true;
  EXPECT_EQ(MakePlan(line).bytes, 7U);
}

TEST_F(PlanTest, OnePortUnderTwoNamesIsRefused) {
  const std::string link = folder_.Path("link");
  std::filesystem::create_symlink("/dev/null", link);
  const std::string image = folder_.WriteFile("fw_tv.bin", "x");
  EXPECT_EQ(MistakeIn(Flashing(image, {"/dev/zero", link, "/dev/null"})),
            link + " and /dev/null are the same port");
  EXPECT_EQ(MistakeIn(Flashing(image, {"tcp:127.0.0.1:4000", "/dev/zero", "tcp:127.1:4000"})),
            "tcp:127.0.0.1:4000 and tcp:127.1:4000 are the same port");
}

TEST_F(PlanTest, InfoNeedsNoImageAndHasFifteenSeconds) {
  CommandLine line = Flashing("", {"/dev/null", "tcp:127.0.0.1:1"});
  line.action = Action::kInfo;
  line.baud_rate = 9600;
  const Plan plan = MakePlan(line);
  EXPECT_EQ(plan.board + plan.application, "");
  EXPECT_EQ(plan.bytes, 0U);
  EXPECT_EQ(TimesOf(plan, &Assignment::answer_timeout),
            (PortTimes{milliseconds(1200), milliseconds(2200)}));
  EXPECT_EQ(TimesOf(plan, &Assignment::deadline),
            (PortTimes{milliseconds(15000), milliseconds(15000)}));
}

TEST_F(PlanTest, EachPortHasItsTimes) {
  const std::string image = folder_.WriteFile("fw_tv.bin", std::string(262144, 'x'));
  const Plan plan = MakePlan(Flashing(image, {"/dev/null", "tcp:127.0.0.1:1"}));
  EXPECT_EQ(TimesOf(plan, &Assignment::answer_timeout),
            (PortTimes{milliseconds(200), milliseconds(1200)}));
  EXPECT_EQ(TimesOf(plan, &Assignment::deadline),
            (PortTimes{milliseconds(96000), milliseconds(443000)}));
}

TEST_F(PlanTest, AGivenAnswerTimeoutCountsForAllPortsAndForTheirDeadlines) {
  const std::string image = folder_.WriteFile("fw_tv.bin", std::string(262144, 'x'));
  CommandLine line = Flashing(image, {"/dev/null", "tcp:127.0.0.1:1"});
  line.answer_timeout = milliseconds(250);
  const Plan plan = MakePlan(line);
  EXPECT_EQ(TimesOf(plan, &Assignment::answer_timeout),
            (PortTimes{milliseconds(250), milliseconds(250)}));
  EXPECT_EQ(TimesOf(plan, &Assignment::deadline),
            (PortTimes{milliseconds(114000), milliseconds(114000)}));
}

TEST_F(PlanTest, AGivenDeadlineCountsAsItIs) {
  const std::string image = folder_.WriteFile("fw_tv.bin", "x");
  for (const int deadline : {0, 1, 500}) {
    CommandLine line = Flashing(image, {"/dev/null", "tcp:127.0.0.1:1"});
    line.deadline = milliseconds(deadline);
    EXPECT_EQ(TimesOf(MakePlan(line), &Assignment::deadline),
              (PortTimes{milliseconds(deadline), milliseconds(deadline)}));
  }
}

TEST_F(PlanTest, AnAnswerIsWaitedForAsLongAsABlockTakes) {
  const std::vector<std::pair<std::uint32_t, int>> rows = {
      {1000000, 200}, {115200, 200}, {57600, 300}, {38400, 400}, {19200, 700}, {9600, 1200}};
  for (const auto& [rate, time] : rows) {
    EXPECT_EQ(DefaultAnswerTimeout(rate, false), milliseconds(time)) << rate;
    EXPECT_EQ(DefaultAnswerTimeout(rate, true), milliseconds(time + 1000)) << rate;
  }
}

TEST_F(PlanTest, ADeadlineLeavesRoomForEachStepAndThreeTimesTheImage) {
  struct Row {
    std::uint64_t bytes;
    std::uint32_t rate;
    int answer_timeout;
    int seconds;
  };
  const std::vector<Row> rows = {
      // 3 x 3.35 s of calling, 10 s, 260 x 0.2 s, 16 s of starting, 3 x 2.63424 s: 95.95 s
      {262144, 1000000, 200, 96},
      // 3 x 12.35 s, 10 s, 5 x 1.2 s, 76 s, 3 x 1.071875 s: 132.27 s; a block more: 136.68 s
      {1, 9600, 1200, 133},
      {1024, 9600, 1200, 133},
      {1025, 9600, 1200, 137},
      // 3 x 12.35 s, 10 s, 4194308 x 1.2 s, 76 s, 3 x 4495769.6 s: 18520601.45 s
      {4294967295, 9600, 1200, 18520602},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(DefaultDeadline(row.bytes, row.rate, milliseconds(row.answer_timeout)),
              std::chrono::seconds(row.seconds))
        << row.bytes;
  }
}

}  // namespace
}  // namespace kvo::boards
