#include "soak/StallWatch.h"

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

StallWatch::Waits StallWatch::waits() const
{
    const std::lock_guard lock(m_mutex);
    return m_waits;
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
            const QDBusMessage answer = bus.call(question, QDBus::Block, ANSWER_LIMIT.count());
            const auto waited = since(asked);
            {
                const std::lock_guard lock(m_mutex);
                if (answer.type() == QDBusMessage::ReplyMessage || waited >= ANSWER_LIMIT) {
                    ++m_waits.answers;
                    m_waits.longest = std::max(m_waits.longest, waited);
                }
            }
            std::this_thread::sleep_for(PAUSE);
        }
    }
    QDBusConnection::disconnectFromBus(name);
}

} // namespace tavolin
