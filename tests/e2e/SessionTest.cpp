#include "e2e/SessionTest.h"

#include <linux/input-event-codes.h>

namespace tavolin {

void SessionTest::SetUp()
{
    if (const QString reason = SessionBus::whyUnavailable(); !reason.isEmpty())
        GTEST_SKIP() << reason.toStdString();
    ViewerTest::SetUp();
    if (!IsSkipped() && !HasFatalFailure())
        startSession();
}

void SessionTest::TearDown()
{
    ViewerTest::TearDown();
    m_tool.reset();
    m_bus.reset();
}

void SessionTest::startSession()
{
    m_tool.reset();
    m_bus.emplace(m_server->displayName());
    ASSERT_EQ(m_bus->error(), QString());
    m_busAddress = m_bus->address();
    m_tool.emplace(*m_bus);
    if (!m_tool->whyUnavailable().isEmpty())
        GTEST_SKIP() << m_tool->whyUnavailable().toStdString();
    ASSERT_EQ(m_tool->error(), QString());
}

std::optional<AccessibleObject> SessionTest::infoLabel() const
{
    return lineBetween(Role::Label, 20, 22);
}

std::optional<AccessibleObject> SessionTest::statusLabel() const
{
    return lineBetween(Role::Notification, 0, 30);
}

QString SessionTest::infoLine() const
{
    return infoLabel().value_or(AccessibleObject()).name;
}

QString SessionTest::statusLine() const
{
    return statusLabel().value_or(AccessibleObject()).name;
}

std::optional<int> SessionTest::quit()
{
    m_client->pressKey(KEY_ESC);
    const auto exitCode = waitForExit();
    m_client->releaseKey(KEY_ESC);
    return exitCode;
}

/// The line that spans the screen, less @p margin on either side.
std::optional<AccessibleObject> SessionTest::lineBetween(Role role, int margin, int height) const
{
    for (const AccessibleObject &object : m_tool->objects()) {
        const QRect &rect = object.rect;
        if (object.role == role && rect.x() == margin && rect.height() == height &&
            rect.width() == SCREEN_RECT.width() - 2 * margin)
            return object;
    }
    return {};
}

} // namespace tavolin
