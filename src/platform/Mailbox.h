#pragma once
// The way back from a worker to the main thread.

#include <QObject>

#include <functional>
#include <mutex>
#include <vector>

namespace tavolin {

/// Runs closures that any thread posts, in the order of posting, on the thread that made the
/// mailbox. Whoever posts must be done with it before it is destroyed; closures that have not run
/// by then are dropped. A closure must not throw, nor destroy the mailbox.
///
/// The closures change threads under a mutex of our own and Qt's event is but a wake-up: thread
/// sanitizers know our mutex, and nothing about the ones inside an uninstrumented Qt.
class Mailbox : public QObject
{
public:
    using QObject::QObject;

    /// Has @p closure, which must not be empty, run from the event loop, never at once: what a
    /// closure posts runs in a later pass, after the events that were waiting. What the closure
    /// holds is released before the next one runs. From any thread.
    void post(std::function<void()> closure);

    /// Runs what has been posted so far, without waiting for the event loop. False if there was
    /// nothing.
    bool deliver();

    bool event(QEvent *event) override;

private:
    std::mutex m_mutex; // guards m_closures
    std::vector<std::function<void()>> m_closures;
};

} // namespace tavolin
