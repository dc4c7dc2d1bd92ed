#include "boards/display/BoardLine.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "boards/display/Columns.h"
#include "unit/boards/ShownBoards.h"

namespace kvo::boards {
namespace {

constexpr std::chrono::seconds kLater(2);

// The board's line, two seconds after the transfer's begin, among boards like itself.
std::string TextOf(const BoardStatus& board, std::size_t width) {
  return LineOf(board, LayoutFor({board}, width), board.transfer_began + kLater).Text();
}

std::vector<std::string> WholeTextsOf(const BoardStatus& board, std::size_t width) {
  std::vector<std::string> texts;
  for (const ScreenLine& line : WholeLinesOf(board, LayoutFor({board}, width))) {
    texts.push_back(line.Text());
  }
  return texts;
}

TEST(BoardLineTest, TheNarrowerTheLineTheFewerItsParts) {
  const BoardStatus board = SendingBoard();
  EXPECT_EQ(TextOf(board, 200),
            "/dev/ttyUSB0  TRK4_R1  [############.............]   50 %   65.5 kB/s   0:02 left"
            "  sending");
  EXPECT_EQ(TextOf(board, 79),
            "/dev/ttyUSB0  TRK4_R1  [#######.......]   50 %   65.5 kB/s   0:02 left  sending");
  EXPECT_EQ(TextOf(board, 69),
            "/dev/ttyUSB0  [######.......]   50 %   65.5 kB/s   0:02 left  sending");
  EXPECT_EQ(TextOf(board, 59), "/dev/ttyUSB0  [#######........]   50 %   0:02 left  sending");
  EXPECT_EQ(TextOf(board, 46), "/dev/ttyUSB0  [#######.......]   50 %  sending");
  EXPECT_EQ(TextOf(board, 39), "/dev/ttyUSB0  [###....]   50 %  sending");
  EXPECT_EQ(TextOf(board, 30), "/dev/ttyUSB0   50 %  sending");
  EXPECT_EQ(TextOf(board, 26), "...ttyUSB0   50 %  sending");
  EXPECT_EQ(TextOf(board, 20), "...ttyUSB0   50 %  s");
}

TEST(BoardLineTest, NoPartReachesBeyondAnyWidth) {
  BoardStatus board = SendingBoard();
  board.port = "/dev/serial/by-id/usb-Ger\u00e4t_A50285BI-if00-port0";
  for (std::size_t width = 1; width < 120; ++width) {
    for (const Step step : {Step::kSwitching, Step::kTransfer}) {
      board.step = step;
      EXPECT_LE(ColumnsOf(TextOf(board, width)), width);
    }
    EXPECT_LE(ColumnsOf(TextOf(FlashedBoard(), width)), width);
  }
}

TEST(BoardLineTest, AStepOutsideTheTransferHasNoFigures) {
  BoardStatus board = SendingBoard();
  board.step = Step::kSwitching;
  EXPECT_EQ(TextOf(board, 79), "/dev/ttyUSB0  TRK4_R1  switching to the bootloader");
  EXPECT_EQ(TextOf(board, 39), "...ttyUSB0  switching to the bootloader");
}

TEST(BoardLineTest, ASecondAttemptIsTold) {
  BoardStatus board = SendingBoard();
  board.attempt = 2;
  EXPECT_EQ(TextOf(board, 39), "/dev/ttyUSB0   50 %  sending, attempt 2");
}

TEST(BoardLineTest, RateAndTimeLeftAreBlankUntilTheyAreKnown) {
  BoardStatus board = SendingBoard();
  EXPECT_EQ(LineOf(board, LayoutFor({board}, 79), board.transfer_began).Text(),
            "/dev/ttyUSB0  TRK4_R1  [#######.......]   50 %                          sending");
}

TEST(BoardLineTest, LargeFiguresHaveLargerUnits) {
  BoardStatus board = SendingBoard();
  board.bytes = 1'200'000'000;
  board.bytes_sent = 4'000'000;
  EXPECT_EQ(TextOf(board, 79),
            "/dev/ttyUSB0  TRK4_R1  [..............]    0 %    2.0 MB/s   9:58 left  sending");
}

TEST(BoardLineTest, PortsShareAColumnAndLongOnesKeepTheirEnd) {
  BoardStatus board = SendingBoard();
  BoardStatus other = SendingBoard();
  other.port = "/dev/serial/by-id/usb-FTDI_FT232R_USB_UART_A50285BI-if00-port0";
  const LineLayout layout = LayoutFor({board, other}, 79);
  EXPECT_EQ(LineOf(board, layout, board.transfer_began + kLater).Text(),
            "/dev/ttyUSB0                     [########........]   50 %   0:02 left  sending");
  EXPECT_EQ(LineOf(other, layout, other.transfer_began + kLater).Text(),
            "...USB_UART_A50285BI-if00-port0  [########........]   50 %   0:02 left  sending");
}

TEST(BoardLineTest, AMessageIsCutWhileItIsDrawnAnew) {
  const BoardStatus board =
      FailedBoard(Reason::kBroken, "block 17 of 256: the board has no valid application", true);
  EXPECT_EQ(TextOf(board, 39), "/dev/ttyUSB0  failed: block 17 of 25...");
}

TEST(BoardLineTest, AMessageIsWrappedByWordsWhenItIsDone) {
  const BoardStatus board = FailedBoard(
      Reason::kBroken, "block 17 of 256: the board has no valid application, flash it again", true);
  EXPECT_EQ(WholeTextsOf(board, 39),
            (std::vector<std::string>{
                "/dev/ttyUSB0  failed: block 17 of 256:", "    the board has no valid application,",
                "    flash it again"}));
  EXPECT_EQ(WholeTextsOf(FailedBoard(Reason::kBroken, "no answer", true), 21),
            (std::vector<std::string>{"/dev/ttyUSB0  failed:", "    no answer"}));
  EXPECT_EQ(WholeTextsOf(FlashedBoard(), 79),
            (std::vector<std::string>{"/dev/ttyUSB0  TRK4_R1  flashed in 3.4 s"}));
}

TEST(BoardLineTest, ABoardThatIsLeftAloneIsCalledSo) {
  BoardStatus board;
  board.port = "/dev/ttyUSB0";
  board.is_left_alone = true;
  EXPECT_EQ(TextOf(board, 79), "/dev/ttyUSB0  already plugged in, ignored");
}

TEST(BoardLineTest, AResultInPlaceIsWrappedAndItsLongWordsAreCut) {
  BoardStatus board =
      FailedBoard(Reason::kBusy, "in use by a-program-of-a-very-long-name (process 4711)", false);
  board.port = "/dev/serial/by-id/usb-FTDI_FT232R_USB_UART_A50285BI-if00-port0";
  std::vector<std::string> texts;
  for (const ScreenLine& line : WrappedLinesOf(board, LayoutFor({board}, 30))) {
    texts.push_back(line.Text());
  }
  EXPECT_EQ(texts,
            (std::vector<std::string>{"...f00-port0  failed: in use", "    by",
                                      "    a-program-of-a-very-lon...", "    (process 4711)"}));
}

TEST(BoardLineTest, APortIsWholeWhenItIsDone) {
  BoardStatus board = FlashedBoard();
  board.port = "/dev/serial/by-id/usb-FTDI_FT232R_USB_UART_A50285BI-if00-port0";
  EXPECT_EQ(
      WholeTextsOf(board, 39),
      (std::vector<std::string>{"/dev/serial/by-id/usb-FTDI_FT232R_USB_UART_A50285BI-if00-port0  ",
                                "    flashed in 3.4 s"}));
}

}  // namespace
}  // namespace kvo::boards
