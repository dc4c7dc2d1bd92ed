#include "support/ClientFixture.h"

namespace kvo::bootloadertms {
namespace {

using testing::RuntimeErrorOf;
using namespace std::chrono_literals;
using namespace std::string_literals;

std::vector<std::string> FieldsOf(const DeviceInfos& infos) {
  return {infos.GetAnswerS(),      infos.GetAnswerH(), infos.GetAnswerP(),
          infos.GetAnswerUpperV(), infos.GetAnswerV(), infos.GetBootStatus()};
}

using Fields = std::vector<std::string>;

TEST(DeviceInfosTest, StartsEmpty) {
  EXPECT_EQ(FieldsOf(DeviceInfos()), (Fields{"", "", "", "", "", ""}));
}

TEST(DeviceInfosTest, KeepsItsSixTextsInOrder) {
  EXPECT_EQ(FieldsOf(DeviceInfos("1", "2", "3", "4", "5", "6")),
            (Fields{"1", "2", "3", "4", "5", "6"}));
}

TEST(DeviceInfosTest, HandsOutReferences) {
  const DeviceInfos infos("1", "2", "3", "4", "5", "6");
  EXPECT_EQ(&infos.GetAnswerS(), &infos.GetAnswerS());
  EXPECT_EQ(&infos.GetAnswerH(), &infos.GetAnswerH());
  EXPECT_EQ(&infos.GetAnswerP(), &infos.GetAnswerP());
  EXPECT_EQ(&infos.GetAnswerUpperV(), &infos.GetAnswerUpperV());
  EXPECT_EQ(&infos.GetAnswerV(), &infos.GetAnswerV());
  EXPECT_EQ(&infos.GetBootStatus(), &infos.GetBootStatus());
}

TEST(AppInfosTest, KeepsItsThreeTextsInOrder) {
  const AppInfos infos("a", "b", "c");
  EXPECT_EQ(infos.GetF1(), "a");
  EXPECT_EQ(infos.GetF2(), "b");
  EXPECT_EQ(infos.GetF3(), "c");
}

class TargetQueriesTest : public testing::ClientFixture {
 protected:
  void Question(std::uint8_t question, const std::string& answer) {
    script_.Write({question}).Sleep(100ms).AnswerRead(answer);
  }
  void BootStatus(const std::string& answer) {
    script_.Write({0x62}).Sleep(20ms).AnswerRead(answer);
  }
  void QuestionsFrom(const std::string& questions) {
    for (const char question : questions) {
      Question(static_cast<std::uint8_t>(question), ""s + question);
    }
  }
};

TEST_F(TargetQueriesTest, BootloaderIsAskedFiveQuestions) {
  script_.FlushInput();
  Question(0x73, "serial\r\n\0"s);
  Question(0x68, "hardware\r\n\0"s);
  Question(0x70, "product\r\n\0"s);
  Question(0x56, "upper\r\n\0"s);
  Question(0x76, "lower\r\n\0"s);
  EXPECT_EQ(FieldsOf(client_.ReadBootloaderInfos()),
            (Fields{"serial", "hardware", "product", "upper", "lower", "BL_OK"}));
}

TEST_F(TargetQueriesTest, BootloaderThatDoesNotKnowAQuestionLeavesItsFieldEmpty) {
  script_.FlushInput();
  Question('s', "U");
  Question('h', "U\r\n\0"s);
  Question('p', "U1");
  Question('V', "");
  Question('v', "u");
  EXPECT_EQ(FieldsOf(client_.ReadBootloaderInfos()), (Fields{"", "", "U1", "", "u", "BL_OK"}));
}

TEST_F(TargetQueriesTest, ApplicationIsAskedItsBootStatusFirst) {
  script_.FlushInput();
  BootStatus("BOOT\r\n\0"s);
  Question(0x73, "serial\0"s);
  Question(0x68, "U");
  Question(0x70, "");
  Question(0x56, "upper\n");
  Question(0x76, "lower");
  EXPECT_EQ(FieldsOf(client_.ReadApplicationInfos()),
            (Fields{"serial", "U", "", "upper", "lower", "BOOT"}));
}

TEST_F(TargetQueriesTest, ApplicationWithoutABootStatusIsAnError) {
  script_.FlushInput();
  BootStatus("\r\n\0"s);
  EXPECT_EQ(RuntimeErrorOf([this] { client_.ReadApplicationInfos(); }),
            "Application doesn't respond or boot status command not implemented !");
}

TEST_F(TargetQueriesTest, AQuestionIsAskedAgainWhileTheAnswerSaysCan) {
  script_.FlushInput();
  Question('s', "Cannot");
  Question('s', "scan");
  Question('s', "CANCEL");
  Question('s', "C\ra\nn");
  Question('s', "cAn");
  QuestionsFrom("hpVv");
  EXPECT_EQ(FieldsOf(client_.ReadBootloaderInfos()), (Fields{"cAn", "h", "p", "V", "v", "BL_OK"}));
}

TEST_F(TargetQueriesTest, AQuestionIsAskedAgainWithoutALimit) {
  script_.FlushInput();
  for (int i = 0; i < 5000; ++i) {
    Question('s', "can");
  }
  QuestionsFrom("shpVv");
  EXPECT_EQ(FieldsOf(client_.ReadBootloaderInfos()), (Fields{"s", "h", "p", "V", "v", "BL_OK"}));
}

TEST_F(TargetQueriesTest, TheBootStatusIsAskedAgainWithoutALimit) {
  script_.FlushInput();
  for (int i = 0; i < 5000; ++i) {
    BootStatus("signature");
  }
  BootStatus("ok");
  QuestionsFrom("shpVv");
  EXPECT_EQ(FieldsOf(client_.ReadApplicationInfos()), (Fields{"s", "h", "p", "V", "v", "ok"}));
}

TEST_F(TargetQueriesTest, TheLastQuestionIsAskedAgainToo) {
  script_.FlushInput();
  BootStatus("ok");
  QuestionsFrom("shpV");
  Question('v', "can");
  Question('v', "1.0");
  EXPECT_EQ(FieldsOf(client_.ReadApplicationInfos()), (Fields{"s", "h", "p", "V", "1.0", "ok"}));
}

TEST_F(TargetQueriesTest, OnlyTheBootStatusIsAskedAgainForASignature) {
  script_.FlushInput();
  BootStatus("checking signature");
  BootStatus("Can");
  BootStatus("scan");
  BootStatus("CANCEL");
  BootStatus("Signature signatur");
  Question('s', "signature");
  QuestionsFrom("hpVv");
  EXPECT_EQ(FieldsOf(client_.ReadApplicationInfos()),
            (Fields{"signature", "h", "p", "V", "v", "Signature signatur"}));
}

TEST_F(TargetQueriesTest, VerboseShowsEachCleanedAnswer) {
  MakeVerbose();
  script_.FlushInput();
  for (const char question : "shpVv"s) {
    Question(static_cast<std::uint8_t>(question), question == 'h' ? "U\r\n\0"s : "x\r\n\0"s);
    script_.Print(question == 'h' ? "U\n" : "x\n").FlushOutput();
  }
  client_.ReadBootloaderInfos();
}

TEST_F(TargetQueriesTest, VerboseShowsAnswersThatAskAgainToo) {
  MakeVerbose();
  script_.FlushInput();
  BootStatus("signature\n");
  script_.Print("signature\n").FlushOutput();
  BootStatus("ok");
  script_.Print("ok\n").FlushOutput();
  Question('s', "Cannot");
  script_.Print("Cannot\n").FlushOutput();
  for (const char question : "shpVv"s) {
    Question(static_cast<std::uint8_t>(question), "");
    script_.Print("\n").FlushOutput();
  }
  client_.ReadApplicationInfos();
}

}  // namespace
}  // namespace kvo::bootloadertms
