#include "platform/Mailbox.h"

#include <QCoreApplication>
#include <QEvent>

#include <utility>

namespace tavolin {

namespace {

constexpr QEvent::Type WAKE_UP = QEvent::User;

} // namespace

void Mailbox::post(std::function<void()> closure)
{
    Q_ASSERT(closure);
    const std::lock_guard lock(m_mutex);
    m_closures.push_back(std::move(closure));
    // One event serves all closures that come before it is seen. Posting it under the lock makes
    // the event itself, too, change threads in a way that thread sanitizers can follow.
    if (m_closures.size() == 1)
        QCoreApplication::postEvent(this, new QEvent(WAKE_UP));
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
