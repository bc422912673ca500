#pragma once
// Unsaved edits are asked about before the program ends, whichever way it is asked to.

#include <QMessageBox>
#include <QObject>
#include <QPointer>

class QMainWindow;
class QSessionManager;

namespace tavolin {

class Browser;
class Editor;
class FileWork;
class FilenameJump;
class Loupe;

/// What the guard works with; all outlive it.
struct QuitNeighbors
{
    QMainWindow &window;
    Loupe &loupe;
    Browser &browser;
    FilenameJump &search;
    Editor &editor;
    FileWork &fileWork;
};

/// Owns the question, and holds up the window's closing.
class QuitGuard : public QObject
{
    Q_OBJECT

public:
    explicit QuitGuard(const QuitNeighbors &neighbors);

    /// Lets the program end without a question from now on.
    void allow() { m_isQuitAllowed = true; }

private:
    /// Whether the program may end now. If not, the user is being asked, and it ends by itself once
    /// the answer allows.
    [[nodiscard]] bool applicationShouldTerminate();
    bool eventFilter(QObject *watched, QEvent *event) override;
    [[nodiscard]] bool mayQuit() const;
    void askToQuit();
    void answerSessionEnd(QSessionManager &session);

    QuitNeighbors m_with;
    QPointer<QMessageBox> m_quitQuestion;
    bool m_isQuitAllowed = false; // a self-test run, or the user gives the edits up
};

} // namespace tavolin
