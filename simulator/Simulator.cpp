#include "simulator/Simulator.h"

#include <exception>
#include <memory>

#include "simulator/ByteStream.h"
#include "simulator/DeviceLink.h"
#include "simulator/FlashFile.h"
#include "simulator/PacedLine.h"
#include "simulator/PseudoTerminal.h"
#include "simulator/SocketLine.h"
#include "simulator/StopSignals.h"
#include "simulator/Trace.h"
#include "simulator/TracedLine.h"

namespace kvo::boardsimulator {
namespace {

constexpr const char* kMessagePrefix = "kvo-board-simulator: ";

ImageKeeper KeeperInto(const std::string& path) {
  if (path.empty()) {
    return [](std::span<const std::uint8_t>) {};
  }
  return [path](std::span<const std::uint8_t> image) { WriteFlashFile(path, image); };
}

// Serves until the line ends it; returns why.
EndReason ServeOn(Line& line, const SimulatorOptions& options, Trace& trace, std::ostream& err) {
  ByteStream stream(line);
  Board board(stream, options.board, options.faults, KeeperInto(options.flash), trace, err);
  try {
    board.Serve();
  } catch (const ServingEnded& end) {
    return end.Reason();
  }
}

// The layers between the terminal and the board that the options ask for.
EndReason ServeThroughLayers(Line& terminal, const SimulatorOptions& options, Trace& trace,
                             std::ostream& err) {
  Line* line = &terminal;
  std::optional<PacedLine> paced;
  if (options.line_rate) {
    line = &paced.emplace(*line, *options.line_rate);
  }
  std::optional<TracedLine> traced;
  if (!options.trace.empty()) {
    line = &traced.emplace(*line, trace);
  }
  return ServeOn(*line, options, trace, err);
}

// Tells hosts where to find the line, and serves them.
void Serve(Line& line, const std::string& path, const SimulatorOptions& options, Trace& trace,
           std::ostream& out, std::ostream& err) {
  out << path << std::endl;
  if (!out) {
    throw std::runtime_error("cannot tell the device's path");
  }
  if (ServeThroughLayers(line, options, trace, err) == EndReason::kHangUp) {
    trace.Event("hung up", line.Now());
    err << kMessagePrefix << "hung up, as a fault asked for" << std::endl;
  }
}

void Run(const SimulatorOptions& options, std::ostream& out, std::ostream& err) {
  const StopSignals stop_signals;
  IgnoreBrokenPipes();
  const auto trace =
      options.trace.empty() ? std::make_unique<Trace>() : TraceIntoFile(options.trace);
  if (!options.socket.empty()) {
    SocketLine socket(options.socket, stop_signals.Descriptor());
    Serve(socket, options.socket, options, *trace, out, err);
    return;
  }
  PseudoTerminal terminal(stop_signals.Descriptor());
  std::optional<DeviceLink> link;
  if (!options.link.empty()) {
    link.emplace(options.link, terminal.SlavePath());
  }
  Serve(terminal, terminal.SlavePath(), options, *trace, out, err);
}

}  // namespace

int RunSimulator(const SimulatorOptions& options, std::ostream& out, std::ostream& err) {
  try {
    Run(options, out, err);
    return 0;
  } catch (const std::exception& failure) {
    err << kMessagePrefix << failure.what() << std::endl;
    return 1;
  }
}

}  // namespace kvo::boardsimulator
