// Runs a fuzz target on each file of the folders given, in builds without libFuzzer.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <vector>

#include "fuzz/Fuzzing.h"
#include "support/Files.h"

namespace {

std::vector<std::string> FilesOf(const std::string& folder) {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    files.push_back(entry.path().string());
  }
  std::sort(files.begin(), files.end());
  return files;
}

void Run(const std::string& file) {
  // Named first, so that the last line tells which input a run has died of.
  std::cerr << file << std::endl;
  const std::string input = kvo::bootloadertms::testing::ReadFile(file);
  // Of its own size, so that reading beyond its end is seen.
  const std::vector<std::uint8_t> bytes(input.begin(), input.end());
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t runs = 0;
  for (const std::string& folder : std::vector<std::string>(argv + 1, argv + argc)) {
    for (const std::string& file : FilesOf(folder)) {
      Run(file);
      ++runs;
    }
  }
  return runs > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
