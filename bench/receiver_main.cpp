// kvo-bench-receiver: a board for the benchmarks. Prints the device to open, serves one sender, and
// prints as JSON what the line saw of it.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <fstream>
#include <iostream>
#include <iterator>

#include "bench/Receiver.h"

namespace {

using kvo::bench::AnswerQuestions;
using kvo::bench::Duration;
using kvo::bench::HungUp;
using kvo::bench::Manner;
using kvo::bench::PacedTerminal;
using kvo::bench::PreferThisProcess;
using kvo::bench::PutThisProcessBeforeAllOthers;
using kvo::bench::Receive;
using kvo::bench::Reception;
using kvo::bench::RefuseBlocks;

struct Options {
  std::optional<std::uint32_t> rate;
  bool asks = false;
  bool answers_pings = false;
  std::optional<std::size_t> most_blocks;
  std::string image;
};

Options ReadOptions(int argc, char** argv) {
  Options options;
  CLI::App app("A board for the benchmarks, on a pseudo-terminal of its own.");
  app.add_option("--rate", options.rate, "pace the line, in bits per second");
  app.add_flag("--ask", options.asks, "ask for packet 0 without being told to");
  app.add_flag("--ping", options.answers_pings, "answer pings and questions, receive nothing");
  app.add_option("--most-blocks", options.most_blocks, "refuse all after so many blocks");
  app.add_option("IMAGE", options.image, "what must arrive");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& failure) {
    std::exit(app.exit(failure));
  }
  return options;
}

void RequireImage(const Reception& reception, const std::string& path, bool whole) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<std::uint8_t> expected{std::istreambuf_iterator<char>(file), {}};
  const auto count = reception.image.size();
  if (count > expected.size() || (whole && count != expected.size()) ||
      !std::equal(reception.image.begin(), reception.image.end(), expected.begin())) {
    throw std::runtime_error("another image arrived");
  }
}

void Print(const Reception& reception) {
  std::cout << "{\"blocks\": " << reception.blocks << ", \"data\": " << reception.data_phase.count()
            << ", \"gaps\": [";
  const char* separator = "";
  for (const Duration gap : reception.gaps) {
    std::cout << separator << gap.count();
    separator = ", ";
  }
  std::cout << "]}" << std::endl;
}

// A terminal that is closed takes along what the sender has not read yet.
void WaitForEnd(PacedTerminal& line) {
  try {
    line.Wait(std::chrono::seconds(10));
  } catch (const HungUp&) {
    return;
  }
  throw std::runtime_error("the sender goes on after the end");
}

void Serve(PacedTerminal& line, const Options& options) {
  if (options.answers_pings) {
    return AnswerQuestions(line);
  }
  const Reception reception =
      Receive(line, options.asks ? Manner::kAsking : Manner::kCommanded, options.most_blocks);
  RequireImage(reception, options.image, !options.most_blocks);
  Print(reception);
  options.most_blocks ? RefuseBlocks(line) : WaitForEnd(line);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const Options options = ReadOptions(argc, argv);
    PacedTerminal line(options.rate);
    options.rate ? PutThisProcessBeforeAllOthers() : PreferThisProcess();
    std::cout << line.Path() << std::endl;
    Serve(line, options);
    return EXIT_SUCCESS;
  } catch (const std::exception& failure) {
    std::cerr << "kvo-bench-receiver: " << failure.what() << std::endl;
    return EXIT_FAILURE;
  }
}
