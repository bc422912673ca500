#pragma once
// How long the viewer's main thread keeps others waiting.

#include <QString>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

namespace tavolin {

/// Asks the viewer something over the session bus that its main thread answers, again and again
/// from a thread of its own, from construction to destruction. A stall may be longer than it is
/// told by the pause between two questions.
class StallWatch
{
public:
    using Clock = std::chrono::steady_clock;

    /// How long it has waited for answers.
    struct Waits
    {
        std::chrono::milliseconds longest{0};
        int answers = 0;
    };

    explicit StallWatch(QString busAddress);
    ~StallWatch();
    StallWatch(const StallWatch &) = delete;
    StallWatch &operator=(const StallWatch &) = delete;

    [[nodiscard]] Waits waits() const;

private:
    void run();

    QString m_busAddress;
    std::atomic<bool> m_isEnding = false;
    mutable std::mutex m_mutex; // guards m_waits
    Waits m_waits;
    std::thread m_thread; // last: it uses the others
};

} // namespace tavolin
