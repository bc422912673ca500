#include "app/Shell.h"

#include "app/Accessibility.h"
#include "app/HelpView.h"
#include "screen/ViewerView.h"

#include <QApplication>
#include <QMainWindow>
#include <QScreen>
#include <QTimer>
#include <QWindow>

#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;

namespace tavolin {

namespace {

/// Until a compositor has answered that the window's state has changed.
constexpr std::chrono::milliseconds STATE_CHANGE_TIME(100);

} // namespace

Shell::Shell()
{
    describeWidgets(); // what a widget is to assistive tools is settled when it is given a name
    m_window = std::make_unique<QMainWindow>();
    m_view = new ViewerView;
    m_window->setWindowTitle(u"Tavolin Viewer"_s);
    m_window->setCentralWidget(m_view);
}

Shell::~Shell() = default;

void Shell::show()
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    if (!screen)
        qFatal("no screen");
    // Without a window manager full screen changes nothing: the window must cover the screen
    // already.
    m_window->setGeometry(screen->availableGeometry());
    m_window->show();
    m_window->activateWindow();
    connect(m_window->windowHandle(), &QWindow::screenChanged, this, &Shell::screenChanged);
    m_view->setFocus();
}

void Shell::activate()
{
    m_window->setWindowState(m_window->windowState() & ~Qt::WindowMinimized);
    m_window->raise();
    // Under the window, a dialog would keep the keys from it without being seen.
    QWidget *dialog = QApplication::activeModalWidget();
    QWidget *front = dialog ? dialog : m_window.get();
    front->raise();
    front->activateWindow();
}

void Shell::toggleFullScreen()
{
    m_window->setWindowState(m_window->windowState() ^ Qt::WindowFullScreen);
    // A Wayland compositor shows the new state with the next frame, and where the size stays the
    // same nothing else asks for one.
    QTimer::singleShot(STATE_CHANGE_TIME, m_view, qOverload<>(&QWidget::update));
}

void Shell::toggleHelp()
{
    if (m_helpView)
        delete std::exchange(m_helpView, nullptr);
    else
        m_helpView = new HelpView(m_view);
}

void Shell::raiseHelp()
{
    if (m_helpView)
        m_helpView->raise();
}

void Shell::layout()
{
    if (m_helpView)
        m_helpView->centre();
}

} // namespace tavolin
