#pragma once
// How long the viewer's main thread keeps others waiting.

#include <QString>

#include <atomic>
#include <chrono>
#include <functional>
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

    /// The longest waits for an answer.
    struct Waits
    {
        std::chrono::milliseconds longest{0};       ///< Outside picking and saving.
        std::chrono::milliseconds longestAtWork{0}; ///< While the main thread picked or saved.
        int answers = 0;
    };

    explicit StallWatch(QString busAddress);
    ~StallWatch();
    StallWatch(const StallWatch &) = delete;
    StallWatch &operator=(const StallWatch &) = delete;

    /// Has @p askForWork ask the viewer to pick or to save, which the main thread does itself, and
    /// returns when it is done: then the main thread has answered again, or has gone.
    void work(const std::function<void()> &askForWork);

    [[nodiscard]] Waits waits() const;

private:
    void run();
    void note(std::chrono::milliseconds waited);

    QString m_busAddress;
    std::atomic<bool> m_isEnding = false;
    mutable std::mutex m_mutex; // guards the fields below
    bool m_isWorking = false;
    Clock::time_point m_asked;    ///< The question that is open, or was last.
    Clock::time_point m_answered; ///< When the last answer came, or was given up.
    Waits m_waits;
    std::thread m_thread; // last: it uses the others
};

} // namespace tavolin
