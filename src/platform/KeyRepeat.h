#pragma once
// Whether a key press is one of a key that is held. Main thread.

#include <chrono>

namespace tavolin {

/// Knows the repeats of one key. X servers leave one unmarked now and then: what comes so soon
/// after another repeat is one, too.
class KeyRepeat
{
public:
    /// Whether a press, marked as a repeat or not, is one.
    [[nodiscard]] bool isRepeat(bool isMarked)
    {
        constexpr std::chrono::milliseconds LONGEST_GAP(300); // slower than any keyboard repeats
        const auto now = std::chrono::steady_clock::now();
        const bool isOne = isMarked || now - m_last < LONGEST_GAP;
        if (isOne)
            m_last = now;
        return isOne;
    }

private:
    std::chrono::steady_clock::time_point m_last;
};

} // namespace tavolin
