#pragma once
// The window with the view that fills it, and the help page over it.

#include <QObject>

#include <memory>

class QMainWindow;

namespace tavolin {

class HelpView;
class ViewerView;

/// Owns the window. It is made hidden.
class Shell : public QObject
{
    Q_OBJECT

public:
    Shell();
    ~Shell() override;

    /// Shows the window as large as the screen allows and gives the view the keyboard.
    void show();
    /// Brings the window, and a dialog over it, to the front, as far as the desktop allows.
    void activate();
    void toggleFullScreen();

    /// Shows the help page, or hides it.
    void toggleHelp();
    [[nodiscard]] bool isHelpShown() const { return m_helpView; }
    /// Brings the help page above widgets added later.
    void raiseHelp();
    /// Puts the help page in the middle of the view's current size.
    void layout();

    [[nodiscard]] QMainWindow &window() { return *m_window; }
    [[nodiscard]] ViewerView &view() { return *m_view; }

Q_SIGNALS:
    /// The window has moved to another screen.
    void screenChanged();

private:
    std::unique_ptr<QMainWindow> m_window;
    ViewerView *m_view = nullptr;   // the window's
    HelpView *m_helpView = nullptr; // while shown; the view's
};

} // namespace tavolin
