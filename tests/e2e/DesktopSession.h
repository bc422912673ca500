#pragma once
// The session manager of a desktop, as programs on X11 know it: X Session Management Protocol,
// version 1.0. It can ask a program whether the user may log out.

#include <QByteArray>

#include <memory>

namespace tavolin {

/// Serves programs that are started with its address in SESSION_MANAGER. Does its work inside
/// serve(), which whoever waits for something must call again and again. One at a time.
class DesktopSession
{
public:
    DesktopSession();
    ~DesktopSession();
    DesktopSession(const DesktopSession &) = delete;
    DesktopSession &operator=(const DesktopSession &) = delete;

    /// Empty when the session can't be had on this machine.
    [[nodiscard]] QByteArray address() const;

    /// Answers what has arrived.
    void serve();

    /// Whether a program has joined and been told that all is well.
    [[nodiscard]] bool hasMember() const;

    /// Asks the program to get ready for the end of the session; it may talk to the user.
    void logOut();

    /// Since logOut(): the program has stopped it, or is ready and was told to end.
    [[nodiscard]] bool isCancelled() const;
    [[nodiscard]] bool isOver() const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace tavolin
