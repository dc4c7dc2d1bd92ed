#include "simulator/FaultPlan.h"

namespace kvo::boardsimulator {

std::optional<Fault> FaultPlan::Take(const Place& place) {
  for (Fault& fault : faults_) {
    if (fault.place != place || fault.times == 0U) {
      continue;
    }
    if (fault.times) {
      --*fault.times;
    }
    return fault;
  }
  return std::nullopt;
}

}  // namespace kvo::boardsimulator
