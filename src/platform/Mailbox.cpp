#include "platform/Mailbox.h"

#include <QCoreApplication>
#include <QEvent>

#include <memory>
#include <utility>

namespace tavolin {

namespace {

constexpr QEvent::Type WAKE_UP = QEvent::User;

} // namespace

void Mailbox::post(std::function<void()> closure)
{
    Q_ASSERT(closure);
    std::unique_lock lock(m_mutex);
    m_closures.push_back(std::move(closure));
    // One event serves all closures that come before it is seen. Making it under the lock makes the
    // event itself, too, change threads in a way that thread sanitizers can follow.
    if (m_closures.size() > 1)
        return;
    auto wakeUp = std::make_unique<QEvent>(WAKE_UP);
    // Whoever wakes up would wait for this thread, which may be at idle priority.
    lock.unlock();
    QCoreApplication::postEvent(this, wakeUp.release());
}

bool Mailbox::deliver()
{
    std::vector<std::function<void()>> closures;
    {
        const std::lock_guard lock(m_mutex);
        closures.swap(m_closures);
    }
    for (auto &closure : closures)
        std::exchange(closure, nullptr)();
    return !closures.empty();
}

bool Mailbox::event(QEvent *event)
{
    bool isWakeUp = false;
    {
        // Before the lock is ours not even the event's type may be read; see post().
        const std::lock_guard lock(m_mutex);
        isWakeUp = event->type() == WAKE_UP;
    }
    return isWakeUp ? deliver() : QObject::event(event);
}

} // namespace tavolin
