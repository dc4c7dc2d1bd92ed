#include "simulator/AnswerOptions.h"

#include <array>
#include <map>
#include <stdexcept>
#include <string>

#include "simulator/OptionValues.h"
#include "simulator/TextParsing.h"

namespace kvo::boardsimulator {
namespace {

struct NamedText {
  const char* option;
  std::uint8_t code;
};

constexpr std::array<NamedText, 9> kNamedTexts{{{"--serial", 's'},
                                                {"--hardware", 'h'},
                                                {"--product", 'p'},
                                                {"--version-upper", 'V'},
                                                {"--version-lower", 'v'},
                                                {"--boot-status", 'b'},
                                                {"--hardware-info", '7'},
                                                {"--bootloader-info", '8'},
                                                {"--application-info", '9'}}};

void AddNamedTexts(CLI::App& app, AnswerTable& answers) {
  for (const NamedText& named : kNamedTexts) {
    const std::string standard = answers.Find(BoardState::kBootloader, named.code).value().text;
    AddOption(app,
              {named.option, "TEXT",
               "The answer to " + NameOfCode(named.code) + " (default: " + standard + ")"},
              [&answers, code = named.code](const std::string& text) {
                answers.SetText(code, Unescape(text));
              });
  }
}

void AddGeneralAnswers(CLI::App& app, BoardSettings& board) {
  AnswerTable& answers = board.answers;
  AddRepeatable(app,
                {"--answer", "CODE=TEXT",
                 "The answer to CODE, in place of everything that the board would do; repeatable"},
                [&answers](const std::string& text) { answers.Give(ParseGivenAnswer(text)); });
  AddRepeatable(
      app,
      {"--unknown", "CODES", "Codes that the board does not know, for example hpV; repeatable"},
      [&answers](const std::string& codes) {
        if (codes.empty()) {
          throw std::invalid_argument("no code given");
        }
        answers.MakeUnknown(Unescape(codes));
      });
  AddRepeatable(
      app,
      {"--ask-again", "WORD@CODE[/TIMES]", "Answer CODE with WORD first, TIMES times; repeatable"},
      [&board](const std::string& text) { board.ask_again.push_back(ParseAskAgain(text)); });
}

const std::map<std::string, std::string>& LineEnds() {
  static const std::map<std::string, std::string> kLineEnds{
      {"crlf", "\r\n"}, {"lf", "\n"}, {"cr", "\r"}, {"nul", std::string(1, '\0')}, {"none", ""}};
  return kLineEnds;
}

void SetPieces(std::string_view text, TextManner& manner) {
  const auto [size, pause] = SplitAt(':', text);
  manner.piece_size = NeedNumber(size, 1, kLargestCount, "the size of a piece");
  if (!pause) {
    return;
  }
  manner.piece_pause = std::chrono::milliseconds(
      NeedNumber(*pause, 0, kLongestTimeInMs, "the milliseconds between two pieces"));
}

void AddManner(CLI::App& app, TextManner& manner) {
  AddOption(app, {"--line-end", "END", "What follows each text (default: crlf)"},
            [&manner](const std::string& name) { manner.line_end = LineEnds().at(name); })
      ->check(CLI::IsMember(LineEnds()));
  AddNumber(app,
            {"--answer-delay", "MS",
             "How long each answer to a request takes; bytes that arrive meanwhile are read "
             "afterwards (default: 0)"},
            0, kLongestTimeInMs,
            [&manner](std::uint32_t time) { manner.delay = std::chrono::milliseconds(time); });
  AddOption(app,
            {"--pieces", "N[:MS]",
             "Send each text in pieces of N bytes, with MS ms between them (default: whole; "
             "10 ms)"},
            [&manner](const std::string& text) { SetPieces(text, manner); });
}

}  // namespace

const char* const kAnswerHelp =
    R"(Answers: --answer [application:|bootloader:]CODE=TEXT, repeatable

  CODE is one printable character or 0xHH. TEXT is sent exactly as given, without a line
  end; an empty TEXT means no answer. It overrides the options for single answers and
  --unknown; of several answers to one code the last one counts.
  In TEXT, CODES and WORD, \r \n \0 \\ \xHH stand for the bytes that they name.
  --ask-again WORD@CODE[/TIMES] sends WORD and a line end instead of the answer; TIMES is
  a number or 'always', 1 by default. Several for one code are used in the order given.
  Examples: --answer '9=OK;\r\n' --answer bootloader:0=B --answer 0x41=
            --ask-again Cannot@s/2 --ask-again signature@application:b)";

void AddAnswerOptions(CLI::App& app, BoardSettings& board) {
  AddNamedTexts(app, board.answers);
  AddGeneralAnswers(app, board);
  AddManner(app, board.manner);
}

}  // namespace kvo::boardsimulator
