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

bool Mailbox::event(QEvent *event)
{
    std::vector<std::function<void()>> closures;
    {
        // Before the lock is ours not even the event's type may be read; see post().
        const std::lock_guard lock(m_mutex);
        if (event->type() == WAKE_UP)
            closures.swap(m_closures);
    }
    if (closures.empty())
        return QObject::event(event);
    for (auto &closure : closures)
        std::exchange(closure, nullptr)();
    return true;
}

} // namespace tavolin
