#pragma once
// Waiting for what another process does: ask again and again, with a limit, instead of sleeping for
// a time that is either too short or wasted.

#include <chrono>
#include <thread>

namespace tavolin {

/// Generous, as a busy machine can be slow; a test that passes never waits this long.
inline constexpr std::chrono::seconds WAIT_LIMIT{20};

/// Pause between two questions: below one frame, and long enough to leave the processor to the
/// process being watched.
inline constexpr std::chrono::milliseconds WAIT_PAUSE{8};

/// Asks @p predicate until it says true. False when it has not by @p limit.
template <typename Predicate>
[[nodiscard]] bool waitUntil(Predicate predicate, std::chrono::milliseconds limit = WAIT_LIMIT)
{
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!predicate()) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(WAIT_PAUSE);
    }
    return true;
}

/// Whether @p predicate says true every time it is asked during @p duration: for what must not
/// happen.
template <typename Predicate>
[[nodiscard]] bool staysTrue(Predicate predicate, std::chrono::milliseconds duration)
{
    return !waitUntil([&] { return !predicate(); }, duration);
}

} // namespace tavolin
