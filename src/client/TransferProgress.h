#pragma once

#include <functional>

namespace kvo::bootloadertms {

// Told of an upload's progress, on the thread that uploads; may be empty. `failed` is true when the
// transfer has ended in failure, false while it runs and when it has ended well. `fraction` goes
// from 0.0 to 1.0.
using TransferProgress = std::function<void(bool failed, double fraction)>;

}  // namespace kvo::bootloadertms
