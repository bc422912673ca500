#pragma once
// How urgent work in the background is.

#include <cstdint>

namespace tavolin {

/// How much the user waits for what a queue does.
enum class QualityOfService : std::uint8_t {
    UserInitiated, ///< Somebody is waiting: normal priority.
    Utility,       ///< Nobody is: gives way, and gets a tenth at least.
};

/// What Utility is on Linux: beside a busy program its share is a tenth (sched(7): a weight of 110
/// against 1024).
inline constexpr int UTILITY_NICENESS = 10;

} // namespace tavolin
