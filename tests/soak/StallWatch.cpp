#include "soak/StallWatch.h"

#include "e2e/WaitUntil.h"

#include <QDBusConnection>
#include <QDBusMessage>

#include <algorithm>
#include <utility>

namespace tavolin {

using namespace Qt::StringLiterals;
using std::chrono::milliseconds;

namespace {

constexpr milliseconds PAUSE{20};

/// An answer that takes longer is none.
constexpr milliseconds ANSWER_LIMIT{60'000};

/// A key that was pressed reaches the viewer within this, also by way of an assistive tool.
constexpr milliseconds KEY_TIME{200};

milliseconds since(StallWatch::Clock::time_point begin)
{
    return std::chrono::duration_cast<milliseconds>(StallWatch::Clock::now() - begin);
}

} // namespace

StallWatch::StallWatch(QString busAddress)
    : m_busAddress(std::move(busAddress)), m_thread([this] { run(); })
{}

StallWatch::~StallWatch()
{
    m_isEnding = true;
    m_thread.join();
}

void StallWatch::work(const std::function<void()> &askForWork)
{
    {
        const std::lock_guard lock(m_mutex);
        if (m_asked > m_answered) // what it has waited until now was no work
            note(since(m_asked));
        m_isWorking = true;
    }
    askForWork();
    std::this_thread::sleep_for(KEY_TIME);
    const auto begun = Clock::now();
    const auto isDone = [&] {
        const std::lock_guard lock(m_mutex);
        m_isWorking = m_asked < begun || m_answered < m_asked;
        return !m_isWorking;
    };
    (void)waitUntil(isDone, 2 * ANSWER_LIMIT);
}

StallWatch::Waits StallWatch::waits() const
{
    const std::lock_guard lock(m_mutex);
    return m_waits;
}

void StallWatch::note(milliseconds waited)
{
    auto &longest = m_isWorking ? m_waits.longestAtWork : m_waits.longest;
    longest = std::max(longest, waited);
}

void StallWatch::run()
{
    const QString name = u"StallWatch of "_s + m_busAddress;
    {
        const QDBusConnection bus = QDBusConnection::connectToBus(m_busAddress, name);
        const QDBusMessage question = QDBusMessage::createMethodCall(
            u"org.tavolin.Viewer"_s, u"/org/tavolin/Viewer"_s,
            u"org.freedesktop.DBus.Introspectable"_s, u"Introspect"_s);
        while (!m_isEnding) {
            const auto asked = Clock::now();
            {
                const std::lock_guard lock(m_mutex);
                m_asked = asked;
            }
            const QDBusMessage answer = bus.call(question, QDBus::Block, ANSWER_LIMIT.count());
            const auto waited = since(asked);
            {
                const std::lock_guard lock(m_mutex);
                m_answered = Clock::now();
                if (answer.type() == QDBusMessage::ReplyMessage || waited >= ANSWER_LIMIT) {
                    ++m_waits.answers;
                    note(waited);
                }
            }
            std::this_thread::sleep_for(PAUSE);
        }
    }
    QDBusConnection::disconnectFromBus(name);
}

} // namespace tavolin
