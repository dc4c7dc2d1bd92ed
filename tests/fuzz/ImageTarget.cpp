// Image files of any name and content, and what packet 0 tells of them.
//
// Input: an image's length in four bytes, the low ones first, for packet 0 alone; a counted text
// that is the file's name; three counted texts of a record; then the file's content.
#include <array>
#include <cstdio>
#include <fstream>
#include <stdexcept>

#include "client/AppInfos.h"
#include "fuzz/Fuzzing.h"
#include "support/Files.h"
#include "tables/TransferModel.h"
#include "transfer/BoardDefinition.h"
#include "transfer/ImageFile.h"
#include "transfer/PacketZero.h"

namespace {

using kvo::bootloadertms::AppInfos;
using kvo::bootloadertms::BoardDefinition;
using kvo::bootloadertms::BuildPacketZero;
using kvo::bootloadertms::ImageFile;
using kvo::bootloadertms::PacketZeroData;
using namespace kvo::bootloadertms::testing;

std::string KeyOf(const std::string& name) {
  std::string key;
  for (const char character : name) {
    if (character == '_') {
      key.clear();
      key += '_';
    } else if (key.size() < (key[0] == '_' ? 3U : 2U)) {
      key += character >= 'A' && character <= 'Z' ? static_cast<char>(character + 32) : character;
    }
  }
  return key[0] == '_' ? key.substr(1) : key;
}

std::string TextOf(const PacketZeroData& data) { return {data.begin(), data.end()}; }

void CheckBoard(std::uint32_t length, const std::string& name) {
  const Board* const expected = BoardOfKey(KeyOf(name));
  try {
    const BoardDefinition board(name);
    Require(expected != nullptr, "the name selects a board");
    Require(TextOf(BuildPacketZero(length, board)) == PacketZeroOfBoard(length, *expected),
            "packet 0 tells the board");
  } catch (const std::runtime_error& error) {
    Require(expected == nullptr, "the name selects no board");
    Require(error.what() ==
                std::string("No definition associate with file name. ie : image_d.bin for QDL-R2 "
                            "board"),
            "the text of a name without a board");
  }
}

void CheckRecord(std::uint32_t length, const std::array<std::string, 3>& texts) {
  const auto expected = PacketZeroOfRecord(length, texts[0], texts[1], texts[2]);
  try {
    const PacketZeroData data = BuildPacketZero(length, AppInfos(texts[0], texts[1], texts[2]));
    Require(expected == TextOf(data), "packet 0 tells the record");
  } catch (const std::runtime_error& error) {
    Require(!expected, "the record fits");
    Require(error.what() == std::string("Exceed size limit detected. Exiting"), "its text");
  }
}

const TemporaryFolder& Folder() {
  static const TemporaryFolder kFolder;
  return kFolder;
}

// A name that a file in one folder can have.
std::string FileNameOf(const std::string& name) {
  std::string file_name;
  for (const char character : name.substr(0, 200)) {
    file_name += character == '/' || character == '\0' ? '\\' : character;
  }
  return file_name.empty() || file_name == "." || file_name == ".." ? "fw_tv.bin" : file_name;
}

void CheckFile(const std::string& name, const std::string& content) {
  const std::string file_name = FileNameOf(name);
  const std::string path = Folder().Path(file_name);
  std::ofstream(path, std::ios::binary) << content;
  ImageFile image;
  image.Read(path);
  std::remove(path.c_str());

  std::string expected = content;
  expected.resize((content.size() + 1023) / 1024 * 1024, '\xFF');
  Require(image.GetLength() == content.size(), "the length is the file's");
  Require(std::string(image.GetContent(), image.GetContent() + expected.size()) == expected,
          "the content is the file's, filled up with erased flash");
  std::string base_name;
  for (const char character : file_name) {
    base_name = character == '\\' ? "" : base_name + character;
  }
  Require(image.GetFileName() == base_name, "the name follows the last separator");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const RunLimit limit;
  FuzzInput input(data, size);
  try {
    const std::uint32_t low = input.TakeWord();
    const std::uint32_t length = low | (std::uint32_t{input.TakeWord()} << 16U);
    const std::string name = input.TakeCountedText();
    const std::array<std::string, 3> texts = {input.TakeCountedText(), input.TakeCountedText(),
                                              input.TakeCountedText()};
    CheckBoard(length, name);
    CheckRecord(length, texts);
    CheckFile(name, input.TakeRest());
  } catch (const EndOfRun&) {
    return 0;  // nothing to check
  }
  return 0;
}
