#pragma once
// How much memory there is to be had. Any thread.

#include <cstdint>

namespace tavolin {

/// Memory that programs could still have without others being pushed out, in bytes; 0 where the
/// system doesn't tell.
[[nodiscard]] std::int64_t availableMemory();

} // namespace tavolin
