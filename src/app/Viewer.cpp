#include "app/Viewer.h"

#include "app/QuitKey.h"
#include "editing/CropAngle.h"
#include "screen/TextLabel.h"
#include "screen/ViewerView.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QMainWindow>
#include <QScreen>
#include <QTimer>

#include <functional>
#include <utility>

using namespace Qt::StringLiterals;

namespace tavolin {

Viewer::Viewer(Mailbox &mailbox, const PictureReader &reader, FileWork::Trash trash)
    : m_mailbox(mailbox), m_monitors(mailbox),
      m_listQueue("list", QualityOfService::UserInitiated, mailbox),
      m_loadQueue("load", QualityOfService::UserInitiated, mailbox),
      m_prefetchQueue("prefetch", QualityOfService::Utility, mailbox),
      m_readAheadQueue("readahead", QualityOfService::Utility, mailbox),
      m_foldersQueue("folders", QualityOfService::UserInitiated, mailbox), m_screen(m_shell.view()),
      m_labels(m_shell.view()), m_loupe(m_screen, m_labels, m_loadQueue, reader,
                                        [this](const auto &use) { findLoupeSubject(use); }),
      m_browser(m_screen, m_labels, m_loupe, {m_listQueue, m_loadQueue}, reader,
                [this] { return m_editor.hasSteps(); }),
      m_prefetch(m_browser, m_screen, m_prefetchQueue, reader),
      m_readAhead(m_browser, m_readAheadQueue, reader),
      m_photoLine(m_browser, m_screen, m_labels, m_prefetchQueue, reader,
                  [this] { return m_editor.isEdited(); }),
      m_search(m_browser, m_shell.view()),
      m_folderDialog(m_browser, m_loupe, m_foldersQueue, m_shell.view()),
      m_editor(m_browser, m_screen, m_labels, m_loupe, m_loadQueue, reader),
      m_cropMode({m_shell.view(), m_screen, m_labels, m_loupe, m_browser, m_search, m_editor}),
      m_fileWork(m_browser, m_editor, m_cropMode, m_labels, mailbox, reader, std::move(trash)),
      m_selfTest(m_browser, m_cropMode, m_editor, m_fileWork, m_loadQueue, reader),
      m_quitGuard({m_shell.window(), m_loupe, m_browser, m_search, m_labels, m_editor, m_fileWork})
{
    m_shell.view().setHandlers({
        .keyPressed = [this](const QKeyEvent &event) { return handleKey(event); },
        .mousePressed = [this](QPointF position) { m_loupe.zoomBegin(position); },
        .mouseDragged = [this](QPointF position) { m_loupe.zoomDrag(position); },
        .mouseReleased = [this] { m_loupe.zoomEnd(); },
        .scrolled = [this](const QWheelEvent &event) { handleScroll(event); },
        .resized = [this] { viewResized(); },
        .paint = std::bind_front(&Screen::paint, &m_screen),
    });
    connect(&m_shell, &Shell::screenChanged, this, &Viewer::viewResized);
    connect(&m_monitors, &MonitorProfiles::changed, this, &Viewer::followMonitor);
    connect(&m_prefetch, &Prefetch::rested, &m_readAhead, &ReadAhead::resume);
    connect(&m_cropMode, &CropMode::entered, &m_shell, &Shell::raiseHelp);
    connect(&m_cropMode, &CropMode::entered, &m_prefetch, &Prefetch::dropSharpening);
    connect(&m_cropMode, &CropMode::cancelled, &m_prefetch, &Prefetch::startAgain);
    connect(&m_quitGuard, &QuitGuard::answered, this, &Viewer::quitQuestionAnswered);
}

Viewer::~Viewer()
{
    m_shell.view().setHandlers({}); // the window goes last
    // Together, as one may keep the end waiting for a moment.
    for (BackgroundQueue *queue :
         {&m_listQueue, &m_loadQueue, &m_prefetchQueue, &m_readAheadQueue, &m_foldersQueue})
        queue->requestStop();
}

void Viewer::applicationDidFinishLaunching(const LaunchOptions &options)
{
    m_isLaunched = true;
    installQuitKey(*this);
    // Listed while the window is made, for which its picture waits.
    if (options.path)
        m_pendingOpen = options.path;
    if (m_pendingOpen)
        m_browser.openPath(*m_pendingOpen);
    m_shell.show();
    if (options.isBench)
        m_quitGuard.allow();
    else
        QTimer::singleShot(0, &m_shell, &Shell::toggleFullScreen);
    if (std::exchange(m_pendingOpen, std::nullopt)) {
        // Once the picture has been asked for, which would wait for them otherwise.
        connect(&m_browser, &Browser::openingEnded, this, &warmUpFonts, Qt::SingleShotConnection);
        m_mailbox.deliver(); // before anything is painted
    } else {
        m_labels.showInfo(u"Tavolin Viewer — กด O เปิดโฟลเดอร์ | H วิธีใช้"_s);
        warmUpFonts();
    }
}

void Viewer::applicationOpen(const std::vector<std::filesystem::path> &urls)
{
    if (urls.empty())
        return;
    if (m_isLaunched && !m_quitGuard.isAsking())
        openHandedOver(urls.front());
    else
        m_pendingOpen = urls.front();
}

void Viewer::quitQuestionAnswered(bool staysForNow)
{
    const auto handedOver = std::exchange(m_pendingOpen, std::nullopt);
    if (handedOver && staysForNow)
        openHandedOver(*handedOver);
}

void Viewer::openHandedOver(const std::filesystem::path &url)
{
    m_folderDialog.closeDialog();
    m_browser.openPath(url);
}

void Viewer::findLoupeSubject(const std::function<void(const LoupeSubject &)> &use)
{
    if (!m_browser.isCurrentShown())
        return;
    m_browser.whenSizeIsKnown([this, use] {
        if (const auto size = m_screen.currentPixelSize())
            use({m_browser.currentUrl(), *size, m_editor.editedImage()});
    });
}

bool Viewer::handleKey(const QKeyEvent &event)
{
    m_labels.keyPressed();
    const auto key = keyCode(event);
    if (event.modifiers() & Qt::ControlModifier) {
        if (key != KeyCode::Z)
            return false;
        m_editor.undoEdit();
        return true;
    }
    if (m_screen.isCropping()) {
        if (const auto command = key ? cropCommandForKey(*key) : std::nullopt)
            carryOutInCrop(*command, *key, event.modifiers() & Qt::ShiftModifier);
        return true;
    }
    const auto command = key ? commandForKey(*key) : std::nullopt;
    // A held key is no second request.
    const bool isLeave = command == Command::Leave;
    if (isLeave && m_leaveRepeat.isRepeat(event.isAutoRepeat()) && m_quitGuard.isWaiting())
        return true;
    if (command)
        carryOut(*command);
    return command.has_value();
}

void Viewer::carryOut(Command command)
{
    switch (command) {
    case Command::ToggleFullScreen:
        return m_shell.toggleFullScreen();
    case Command::ToggleHelp:
        return m_shell.toggleHelp();
    case Command::OpenFolder:
        return m_folderDialog.openDialog();
    case Command::OpenSearch:
        return m_search.openSearch();
    case Command::CopyToHL:
        return m_fileWork.copyToHL();
    case Command::DeleteCurrent:
        return m_fileWork.deleteCurrent();
    case Command::EnterCrop:
        return m_cropMode.enterCrop();
    case Command::SaveEdited:
        return m_fileWork.saveEdited();
    case Command::NextPicture:
        return m_browser.navigate(+1);
    case Command::PreviousPicture:
        return m_browser.navigate(-1);
    case Command::Leave:
        if (m_shell.isHelpShown())
            m_shell.toggleHelp();
        else if (!m_folderDialog.closeDialog()) // which may be on its way
            QCoreApplication::quit();
        return;
    }
}

void Viewer::carryOutInCrop(CropCommand command, KeyCode key, bool shift)
{
    const double step = shift ? COARSE_ANGLE_STEP : ANGLE_STEP;
    switch (command) {
    case CropCommand::FreeRatio:
        return m_cropMode.cropBarRatio(RatioPreset::Free);
    case CropCommand::OriginalRatio:
        return m_cropMode.cropBarRatio(RatioPreset::Original);
    case CropCommand::SquareRatio:
        return m_cropMode.cropBarRatio(RatioPreset::Square);
    case CropCommand::FourByThreeRatio:
        return m_cropMode.cropBarRatio(RatioPreset::FourByThree);
    case CropCommand::SixteenByNineRatio:
        return m_cropMode.cropBarRatio(RatioPreset::SixteenByNine);
    case CropCommand::CustomRatio:
        return m_cropMode.cropBarCustom();
    case CropCommand::Flip:
        return m_cropMode.cropBarFlip();
    case CropCommand::TurnLeft:
        return m_cropMode.turnBy(-step);
    case CropCommand::TurnRight:
        return m_cropMode.turnBy(step);
    case CropCommand::Nudge:
        return m_cropMode.nudge(key, shift);
    case CropCommand::Apply:
        return m_cropMode.applyCrop();
    case CropCommand::ToggleHelp:
        return m_shell.toggleHelp();
    case CropCommand::Leave:
        return m_shell.isHelpShown() ? m_shell.toggleHelp() : m_cropMode.exitCrop();
    }
}

void Viewer::handleScroll(const QWheelEvent &event)
{
    if (m_screen.isCropping() || m_loupe.isZooming() || m_browser.imageList().empty() ||
        m_search.isOpen() || m_shell.isHelpShown())
        return;
    if (const int step = wheelStep(m_wheel, wheelInput(event)))
        m_browser.navigate(step);
}

void Viewer::viewResized()
{
    m_cropMode.layout();
    m_labels.layout(m_cropMode.cropBarTop());
    m_shell.layout();
    m_search.layout();
    if (!m_screen.isCropping())
        m_screen.refreshRendition();
    followMonitor();
    m_prefetch.startAgain();
}

void Viewer::followMonitor()
{
    const QScreen *screen = m_shell.window().screen();
    // Qt scales the sizes of screens, not where they begin.
    showInColorsOf(screen ? m_monitors.profileAt(screen->geometry().topLeft()) : QByteArray());
}

void Viewer::showInColorsOf(const QByteArray &profile)
{
    if (profile == m_screen.profile())
        return;
    m_screen.setProfile(profile);
    m_browser.refreshColors();
    m_editor.refreshColors();
}

} // namespace tavolin
