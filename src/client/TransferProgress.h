#pragma once

#include <functional>

namespace kvo::bootloadertms {

// Told of an upload's progress, on the thread that uploads; may be empty. `failed` is true when a
// block or the end of the image was refused, answered wrongly or not answered; all other failures
// are told by the upload's exception alone.
//
// `fraction` counts steps of the upload, not bytes. It is 0.0 before the first block, and
// (n + 1) / (length / 1024 + 3) once the board has taken n blocks of an image of `length` bytes
// (the division by 1024 rounds down): packet 0 and the end of the transfer count as steps, too, so
// the share of the bytes that the board has may be smaller or larger. 1.0 comes before the board's
// verdict: only an upload that returns has succeeded.
using TransferProgress = std::function<void(bool failed, double fraction)>;

}  // namespace kvo::bootloadertms
