#pragma once

#include <functional>

namespace kvo::bootloadertms {

// Told of an upload's progress, on the thread that uploads; may be empty. `failed` is true when a
// block or the end of the image was refused, answered wrongly or not answered; all other failures
// are told by the upload's exception alone. `fraction` goes from 0.0 to 1.0, which is told before
// the board's verdict: only an upload that returns has succeeded.
using TransferProgress = std::function<void(bool failed, double fraction)>;

}  // namespace kvo::bootloadertms
