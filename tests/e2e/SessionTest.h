#pragma once
// What the tests share that read the viewer's texts where a screen reader does.

#include "e2e/Accessibility.h"
#include "e2e/SessionBus.h"
#include "e2e/ViewerTest.h"

#include <QString>

#include <optional>

namespace tavolin {

/// Starts with a desktop session and an assistive tool on the screen as well; skips where there can
/// be no such tool.
class SessionTest : public ViewerTest
{
protected:
    using Role = AccessibleRole;

    void SetUp() override;
    void TearDown() override;

    /// Starts the session, or another one, on the screen that is there now.
    void startSession();

    /// The line at the top that tells the position and the name, and the one for messages. Found
    /// while they are empty, too.
    [[nodiscard]] std::optional<AccessibleObject> infoLabel() const;
    [[nodiscard]] std::optional<AccessibleObject> statusLabel() const;

    /// What the lines say; empty also when they are not there.
    [[nodiscard]] QString infoLine() const;
    [[nodiscard]] QString statusLine() const;

    /// Presses Escape and waits for the viewer's end; empty when it stays or crashes. The key is
    /// not released before that: as long as there is an assistive tool Qt keeps each key until the
    /// tool has had it, and what it keeps at the end counts as a leak.
    [[nodiscard]] std::optional<int> quit();

    std::optional<SessionBus> m_bus;
    std::optional<AssistiveTool> m_tool;

private:
    [[nodiscard]] std::optional<AccessibleObject> lineBetween(Role role, int margin,
                                                              int height) const;
};

} // namespace tavolin
