#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "simulator/Fault.h"

namespace kvo::boardsimulator {

// The faults of a session and how often each still happens.
class FaultPlan {
 public:
  FaultPlan() = default;
  explicit FaultPlan(std::vector<Fault> faults) : faults_(std::move(faults)) {}

  // The fault that happens at `place` this time, which counts as having happened; nothing if the
  // board behaves. Several faults of one place happen one after the other in the order given.
  std::optional<Fault> Take(const Place& place);

 private:
  std::vector<Fault> faults_;
};

}  // namespace kvo::boardsimulator
