#pragma once
// Before the program ends, whichever way it is asked to, unsaved edits are asked about and work on
// files is waited for.

#include "pixels/Image.h"

#include <QMessageBox>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <chrono>

class QMainWindow;
class QSessionManager;

namespace tavolin {

class Browser;
class Editor;
class FileWork;
class FilenameJump;
class Labels;
class Loupe;

/// What the guard works with; all outlive it.
struct QuitNeighbors
{
    QMainWindow &window;
    Loupe &loupe;
    Browser &browser;
    FilenameJump &search;
    Labels &labels;
    Editor &editor;
    FileWork &fileWork;
};

/// Owns the question and the waiting, and holds up the window's closing. The program waits for
/// picks, deletions and saves as long as their disk gets on, and not when it is asked to end once
/// more. When one of them fails it stays.
class QuitGuard : public QObject
{
    Q_OBJECT

public:
    explicit QuitGuard(const QuitNeighbors &neighbors);

    /// Lets the program end without a question from now on.
    void allow() { m_isQuitAllowed = true; }

    [[nodiscard]] bool isAsking() const { return m_quitQuestion && m_quitQuestion->isVisible(); }
    /// Whether the program ends by itself when the work on files has ended.
    [[nodiscard]] bool isWaiting() const { return m_progressCheck.isActive(); }

Q_SIGNALS:
    /// The question has been answered; @p staysForNow if not by a wish to quit.
    void answered(bool staysForNow);
    /// It is certain whether the program ends.
    void decided(bool ends);

private:
    /// Whether the program may end now. If not, the user is being asked or work is being waited
    /// for, and it ends by itself when nothing is in the way any more.
    [[nodiscard]] bool applicationShouldTerminate();
    bool eventFilter(QObject *watched, QEvent *event) override;
    [[nodiscard]] bool areEditsSafe() const;
    /// Whether nothing is under way that the end must wait for.
    [[nodiscard]] bool isIdle() const;
    void letDeletionsGo();
    void askToQuit();
    void takeAnswer(bool quits, bool saves);
    void workEnded(bool isDone);
    void checkProgress();
    void stay();
    void answerSessionEnd(QSessionManager &session);

    QuitNeighbors m_with;
    QPointer<QMessageBox> m_quitQuestion;
    bool m_isQuitAllowed = false; // a self-test run
    bool m_hasSaveFailed = false; // or other work that was waited for: the edits are still wanted
    Image m_givenUp;              // the edited picture that the user does not want
    QTimer m_progressCheck;       // runs while work is waited for
    std::chrono::steady_clock::time_point m_waitBegin;
};

} // namespace tavolin
