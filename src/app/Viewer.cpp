#include "app/Viewer.h"

#include "app/Accessibility.h"
#include "app/HelpView.h"
#include "app/QuitKey.h"
#include "browse/SearchField.h"
#include "editing/CropBar.h"
#include "editing/CropOverlayView.h"
#include "screen/TextLabel.h"
#include "screen/ViewerView.h"

#include <QApplication>
#include <QMainWindow>
#include <QScreen>
#include <QWindow>

#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;

namespace tavolin {

namespace {

/// Until a compositor has answered that the window's state has changed.
constexpr std::chrono::milliseconds STATE_CHANGE_TIME(100);

} // namespace

Viewer::Viewer(Mailbox &mailbox, const PictureReader &reader, Trash trash)
    : m_mailbox(mailbox), m_reader(&reader), m_trash(std::move(trash))
{
    const auto onTimeout = [this](QTimer &timer, auto action) {
        timer.setSingleShot(true);
        timer.setTimerType(Qt::PreciseTimer);
        connect(&timer, &QTimer::timeout, this, action);
    };
    onTimeout(m_shell.statusTimer, [this] { m_shell.statusLabel->setText({}); });
    onTimeout(m_prefetch.prefetchTimer, &Viewer::prefetchNeighbors);
    onTimeout(m_photoLine.exifTimer, &Viewer::loadExif);
    connect(&m_selfTest.timer, &QTimer::timeout, this, &Viewer::benchStep);
    m_selfTest.timer.setTimerType(Qt::PreciseTimer);
}

Viewer::~Viewer() = default;

void Viewer::applicationDidFinishLaunching(const LaunchOptions &options)
{
    buildMenu();
    buildWindow();
    m_shell.benchMode = options.isBench;
    if (!m_shell.benchMode)
        QTimer::singleShot(0, this, &Viewer::toggleFullScreen);
    if (options.path)
        openPath(*options.path);
    else if (const auto handedOver = std::exchange(m_shell.pendingOpen, std::nullopt))
        openPath(*handedOver);
    else
        showInfo(u"Tavolin Viewer — กด O เปิดโฟลเดอร์ | H วิธีใช้"_s);
    warmUpFonts();
}

void Viewer::applicationOpen(const std::vector<std::filesystem::path> &urls)
{
    if (urls.empty())
        return;
    if (m_shell.window)
        openPath(urls.front());
    else
        m_shell.pendingOpen = urls.front();
}

void Viewer::activate()
{
    m_shell.window->setWindowState(m_shell.window->windowState() & ~Qt::WindowMinimized);
    m_shell.window->raise();
    // Under the window, a dialog would keep the keys from it without being seen. The desktop's own
    // folder dialog is not Qt's to raise.
    QWidget *dialog = QApplication::activeModalWidget();
    const bool isOurs = dialog && !dialog->testAttribute(Qt::WA_DontShowOnScreen);
    QWidget *front = isOurs ? dialog : m_shell.window.get();
    front->raise();
    front->activateWindow();
}

void Viewer::buildMenu()
{
    installQuitKey(*this);
}

void Viewer::buildWindow()
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    if (!screen)
        qFatal("no screen");
    describeWidgets();
    m_shell.window = std::make_unique<QMainWindow>();
    m_shell.window->setWindowTitle(u"Tavolin Viewer"_s);
    m_shell.view = new ViewerView(*this);
    m_shell.infoLabel = new TextLabel(14, Qt::AlignLeft, m_shell.view);
    m_shell.detailLabel = new TextLabel(12, Qt::AlignLeft, m_shell.view);
    m_shell.detailLabel->setColor(QColor(NEON.red(), NEON.green(), NEON.blue(), 217)); // alpha 0.85
    m_shell.statusLabel = new TextLabel(20, Qt::AlignHCenter, m_shell.view);
    m_shell.window->setCentralWidget(m_shell.view);
    // Without a window manager full screen changes nothing: the window must cover the screen
    // already.
    m_shell.window->setGeometry(screen->availableGeometry());
    m_shell.window->show();
    m_shell.window->activateWindow();
    connect(m_shell.window->windowHandle(), &QWindow::screenChanged, this, &Viewer::viewResized);
    m_shell.view->setFocus();
    guardQuitting();
}

void Viewer::viewResized()
{
    if (m_crop.cropBar)
        m_crop.cropBar->place(m_shell.view->size());
    layoutLabels();
    if (m_shell.helpView)
        m_shell.helpView->centre();
    if (m_search.searchField)
        m_search.searchField->place(m_shell.view->size());
    if (m_crop.cropOverlay) {
        editLayoutChanged(); // the overlay tells of another size only, not of another screen
        m_crop.cropOverlay->resize(m_shell.view->size());
    } else {
        refreshRendition();
    }
}

void Viewer::toggleFullScreen()
{
    m_shell.window->setWindowState(m_shell.window->windowState() ^ Qt::WindowFullScreen);
    // A Wayland compositor shows the new state with the next frame, and where the size stays the
    // same nothing else asks for one.
    QTimer::singleShot(STATE_CHANGE_TIME, m_shell.view, qOverload<>(&QWidget::update));
}

} // namespace tavolin
