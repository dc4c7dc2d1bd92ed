#pragma once

namespace kvo::boardsimulator {

// Which of its two programs the board runs.
enum class BoardState { kApplication, kBootloader };

}  // namespace kvo::boardsimulator
