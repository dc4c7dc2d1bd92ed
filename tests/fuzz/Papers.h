#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "boards/UniqueDescriptor.h"
#include "boards/display/InPlace.h"
#include "boards/display/Sentences.h"

namespace kvo::bootloadertms::testing {

// A file that keeps what is written to it for one run.
class Paper {
 public:
  Paper();

  int Descriptor() const { return descriptor_.Get(); }
  std::string Take() const;

 private:
  boards::UniqueDescriptor descriptor_;
};

struct DisplayOptions {
  boards::Task task;
  bool with_color;
  boards::ScreenSize screen;
  // By bits: JSON, bars, lines, a watch's screen, failures.
  std::uint8_t which;
};

// What the displays of kvo-boards write: JSON, and what is for people.
class Papers {
 public:
  // `observer` is shown all first. Borrows the boards.
  std::unique_ptr<boards::Display> MakeDisplay(const DisplayOptions& options,
                                               const std::vector<boards::BoardStatus>& boards,
                                               std::unique_ptr<boards::Display> observer) const;

  // Requires that all of it is well-formed and tells nothing that can't be, after the end.
  void Check(const DisplayOptions& options, const boards::Totals& totals) const;

 private:
  Paper json_;
  Paper text_;
};

}  // namespace kvo::bootloadertms::testing
