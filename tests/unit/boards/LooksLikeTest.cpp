#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "boards/Plan.h"

namespace kvo::boards {
namespace {

void ExpectAll(const std::vector<std::string>& contents, const std::string& format) {
  for (const std::string& content : contents) {
    EXPECT_EQ(LooksLike(content), format) << ::testing::PrintToString(content);
  }
}

TEST(LooksLikeTest, AnElfFileBeginsWithItsMark) {
  ExpectAll({"\x7F"
             "ELF",
             "\x7F"
             "ELF\x02\x01\x01"},
            "an ELF file");
  ExpectAll({"\x7F"
             "EL",
             "ELF",
             "x\x7F"
             "ELF"},
            "");
}

TEST(LooksLikeTest, AnIntelHexFileBeginsWithARecord) {
  ExpectAll({":00000001FF", ":00000001ff\r\n", "\r\n\n:020000040800F2\n:00000001FF\n",
             ":10010000214601360121470136007EFE09D2190140\r", " :00000001FF \n", ":00000001FE\n",
             ":01000001FF\n"},
            "an Intel HEX file");
  ExpectAll({":00000001F\n", ":\n", ":", ":0000000GFF\n", "x:00000001FF\n", ":000000FF",
             ":0000 0001FF\n"},
            "");
}

TEST(LooksLikeTest, AnSRecordFileBeginsWithARecord) {
  ExpectAll({"S00600004844521B\n", "S9030000FC\r\n", "\nS1137AF00A0A0D0000000000000000000000000061",
             "S9030000fc", "S00600004844521C\n", "S00700004844521B\n"},
            "a Motorola S-record file");
  ExpectAll({"SA030000FC\n", "S/030000FC\n", "S90200FD", "S", "S9", "S9030000F\n"}, "");
}

TEST(LooksLikeTest, ATiTxtFileBeginsWithAnAddressAndBytes) {
  ExpectAll({"@F000\n31 40 00 03\nq\n", "@f000\r\n31 40 00 03 \r\nq\r\n", "@0\nFF\n", "@FFFE\nq",
             "\n@12345678\n00\n"},
            "a TI-TXT file");
  ExpectAll({"@F000\n", "@F000", "@F000\n3140\n", "@F000\n31 4\n", "@F000\n31  40\n", "@\n31\n",
             "@123456789\n31\n", "@F0G0\n31\n", "@F000 31\n", "F000\n31\n", "@F000\nqq\n",
             "@F000\n31 4G\n"},
            "");
}

// The number's bytes, in the target's order.
std::string CoffNumber(std::uint32_t number, std::size_t size, bool big_endian) {
  std::string bytes;
  for (std::size_t i = 0; i < size; ++i) {
    const char byte = static_cast<char>(number >> (8 * i) & 0xFFU);
    bytes.insert(big_endian ? bytes.begin() : bytes.end(), byte);
  }
  return bytes;
}

struct Coff {
  std::uint32_t version = 0xC2;
  std::uint32_t sections = 2;
  std::uint32_t optional_size = 28;
  std::uint32_t target = 0x9D;
  std::size_t file_size = 148;
};

std::string FileOf(const Coff& coff, bool big_endian) {
  std::string file;
  const auto add = [&](std::uint32_t number, std::size_t size) {
    file += CoffNumber(number, size, big_endian);
  };
  add(coff.version, 2);
  add(coff.sections, 2);
  add(0x5F000000, 4);
  add(130, 4);
  add(1, 4);
  add(coff.optional_size, 2);
  add(0x1143, 2);
  add(coff.target, 2);
  file.resize(coff.file_size, 'x');
  return file;
}

TEST(LooksLikeTest, ATiCoffFileHasAHeaderAlsoWhenItWasCutOff) {
  const std::vector<Coff> files = {{},
                                   {.version = 0xC0},
                                   {.version = 0xC1},
                                   {.sections = 1},
                                   {.target = 0x92},
                                   {.target = 0xA0},
                                   {.optional_size = 0},
                                   {.file_size = 22}};
  for (const Coff& coff : files) {
    ExpectAll({FileOf(coff, false), FileOf(coff, true)}, "a TI COFF file");
  }
  const std::vector<Coff> others = {{.version = 0xBF},     {.version = 0xC3}, {.sections = 0},
                                    {.optional_size = 27}, {.target = 0x91},  {.target = 0xA1},
                                    {.file_size = 21}};
  for (const Coff& coff : others) {
    ExpectAll({FileOf(coff, false), FileOf(coff, true)}, "");
  }
}

TEST(LooksLikeTest, ARawBinaryIsRefusedNeitherByChanceNorByItsFirstBytes) {
  ExpectAll(
      {"", "\n", " ", std::string(4096, '\n'), std::string(4096, '\xFF'), std::string(4096, '\0')},
      "");
  const std::vector<std::string> begins = {
      "", ":", "S1", "@", "@F000\n", std::string("\xC2\0", 2), std::string("\0\xC2", 2)};
  std::mt19937 random(20261122);
  for (const std::string& begin : begins) {
    for (int i = 0; i < 300; ++i) {
      std::string image = begin;
      while (image.size() < 2048) {
        image += static_cast<char>(random() & 0xFFU);
      }
      EXPECT_EQ(LooksLike(image), "") << ::testing::PrintToString(begin) << " " << i;
    }
  }
}

}  // namespace
}  // namespace kvo::boards
