#pragma once
// The whole: makes the owners of the viewer's state, lets each know whom it works with, and carries
// the user's commands to them. Lives on the main thread.

#include "app/KeyMap.h"
#include "app/LaunchOptions.h"
#include "app/QuitGuard.h"
#include "app/Shell.h"
#include "browse/Browser.h"
#include "browse/FilenameJump.h"
#include "browse/FolderDialog.h"
#include "browse/PhotoLine.h"
#include "browse/Prefetch.h"
#include "browse/ReadAhead.h"
#include "browse/WheelSteps.h"
#include "editing/CropMode.h"
#include "editing/Editor.h"
#include "fileops/FileWork.h"
#include "platform/Background.h"
#include "platform/KeyRepeat.h"
#include "platform/MonitorProfiles.h"
#include "platform/Trash.h"
#include "screen/Labels.h"
#include "screen/Loupe.h"
#include "screen/Screen.h"
#include "selftest/SelfTest.h"

#include <QObject>

#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

class QKeyEvent;
class QWheelEvent;

namespace tavolin {

/// Made before the event loop runs and destroyed after it has ended. Whoever makes it calls
/// applicationDidFinishLaunching() once, before anything else.
class Viewer : public QObject
{
    Q_OBJECT

public:
    /// @p mailbox carries results back to the main thread, @p reader reads the pictures; both must
    /// outlive the viewer.
    Viewer(Mailbox &mailbox, const PictureReader &reader, FileWork::Trash trash = moveToTrash);
    ~Viewer() override;

    /// Shows the window and what @p options ask for.
    void applicationDidFinishLaunching(const LaunchOptions &options);
    /// Opens the first of the folders and files @p urls that the desktop hands over; the others
    /// don't count. Before the start it is kept until then, which makes this the one function that
    /// may be called earlier; during the question before quitting until that is answered. What is
    /// opened takes the place of a folder that is being chosen.
    void applicationOpen(const std::vector<std::filesystem::path> &urls);

    /// Brings what is shown into the colours of the monitor with @p profile (empty: sRGB), unless
    /// it is in them.
    void showInColorsOf(const QByteArray &profile);

    /// Carries out the command of a key press; false when it has none.
    bool handleKey(const QKeyEvent &event);
    /// Steps by what @p event adds to the travel so far; does nothing while something else is on
    /// top.
    void handleScroll(const QWheelEvent &event);

    [[nodiscard]] Shell &shell() { return m_shell; }
    [[nodiscard]] Screen &screen() { return m_screen; }
    [[nodiscard]] Labels &labels() { return m_labels; }
    [[nodiscard]] Loupe &loupe() { return m_loupe; }
    [[nodiscard]] Browser &browser() { return m_browser; }
    [[nodiscard]] FilenameJump &search() { return m_search; }
    [[nodiscard]] CropMode &cropMode() { return m_cropMode; }
    [[nodiscard]] SelfTest &selfTest() { return m_selfTest; }
    [[nodiscard]] const FileWork &fileWork() const { return m_fileWork; }

private:
    void findLoupeSubject(const std::function<void(const LoupeSubject &)> &use);
    void carryOut(Command command);
    void carryOutInCrop(CropCommand command, KeyCode key, bool shift);
    void viewResized();
    void followMonitor();
    void openHandedOver(const std::filesystem::path &url);
    void quitQuestionAnswered(bool staysForNow);

    bool m_isLaunched = false;
    std::optional<std::filesystem::path> m_pendingOpen; // before the start, or during the question
    WheelState m_wheel;
    KeyRepeat m_leaveRepeat;
    Mailbox &m_mailbox;
    MonitorProfiles m_monitors;
    BackgroundQueue m_listQueue;
    BackgroundQueue m_loadQueue;
    BackgroundQueue m_prefetchQueue;
    BackgroundQueue m_readAheadQueue;
    BackgroundQueue m_foldersQueue;
    // Each knows only those above it in this list; it hears from later ones by signals and
    // callbacks.
    Shell m_shell;
    Screen m_screen;
    Labels m_labels;
    Loupe m_loupe;
    Browser m_browser;
    Prefetch m_prefetch;
    ReadAhead m_readAhead;
    PhotoLine m_photoLine;
    FilenameJump m_search;
    FolderDialog m_folderDialog;
    Editor m_editor;
    CropMode m_cropMode;
    FileWork m_fileWork;
    SelfTest m_selfTest;
    QuitGuard m_quitGuard;
};

} // namespace tavolin
