#include "app/QuitGuard.h"

#include "browse/Browser.h"
#include "browse/FilenameJump.h"
#include "browse/InfoLine.h"
#include "browse/PlainText.h"
#include "editing/Editor.h"
#include "fileops/FileWork.h"
#include "screen/DarkPalette.h"
#include "screen/Labels.h"
#include "screen/Loupe.h"

#include <QEvent>
#include <QEventLoop>
#include <QGuiApplication>
#include <QLabel>
#include <QMainWindow>
#include <QPushButton>
#include <QSessionManager>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace tavolin {

namespace {

/// How long a disk may take for the next bytes while the program waits to end.
constexpr auto PATIENCE = 10s;
constexpr auto CHECK_INTERVAL = 250ms;

constexpr QStringView WAITING = u"⏳ กำลังทำงานที่ค้างให้เสร็จก่อนออก... (Esc=ออกทันที)";

} // namespace

QuitGuard::QuitGuard(const QuitNeighbors &neighbors) : m_with(neighbors)
{
    // Quitting closes every window first, so the window's close event stands for all ways but one.
    m_with.window.installEventFilter(this);
    connect(qGuiApp, &QGuiApplication::commitDataRequest, this, &QuitGuard::answerSessionEnd,
            Qt::DirectConnection);
    connect(&m_with.editor, &Editor::editsDropped, this, [this] {
        if (m_quitQuestion)
            m_quitQuestion->close(); // it asks about these edits
        else
            letDeletionsGo(); // a save that was to follow an undo is off
    });
    connect(&m_with.fileWork, &FileWork::ended, this,
            [this](FileJobKind, bool isDone) { workEnded(isDone); });
    connect(&m_progressCheck, &QTimer::timeout, this, &QuitGuard::checkProgress);
}

bool QuitGuard::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != &m_with.window || event->type() != QEvent::Close)
        return QObject::eventFilter(watched, event);
    const bool ends = applicationShouldTerminate();
    event->setAccepted(ends);
    if (ends)
        Q_EMIT decided(true);
    return !ends;
}

bool QuitGuard::areEditsSafe() const
{
    const Image &edited = m_with.editor.editedImage();
    return !m_with.editor.editsUnsaved() || m_isQuitAllowed ||
           (!m_givenUp.isNull() && m_givenUp.isSameAs(edited)) ||
           m_with.fileWork.jobs().isSaving(edited);
}

bool QuitGuard::isIdle() const
{
    return m_with.fileWork.jobs().isEmpty() && !m_with.editor.hasWaitingCommands();
}

bool QuitGuard::applicationShouldTerminate()
{
    if (!areEditsSafe()) {
        askToQuit();
        return false;
    }
    if (isIdle() || isWaiting()) // a second request is an order
        return true;
    m_waitBegin = std::chrono::steady_clock::now();
    m_progressCheck.start(CHECK_INTERVAL);
    m_with.labels.showStatus(WAITING.toString(), false);
    return false;
}

void QuitGuard::workEnded(bool isDone)
{
    if (!isWaiting()) {
        if (isDone)
            letDeletionsGo(); // where they were held for a save that had failed before
        return;
    }
    m_hasSaveFailed = !isDone;
    if (!isDone) // its message is to be read
        stay();
    else if (isIdle())
        QCoreApplication::quit(); // asks if there are new edits
    else
        m_with.labels.showStatus(WAITING.toString(), false);
}

void QuitGuard::checkProgress()
{
    if (isIdle()) { // what waited for an undo was nothing
        QCoreApplication::quit();
        return;
    }
    if (m_with.labels.statusText().isEmpty()) // something else was said meanwhile
        m_with.labels.showStatus(WAITING.toString(), false);
    const auto last = std::max(m_waitBegin, m_with.fileWork.jobs().lastProgress());
    if (std::chrono::steady_clock::now() - last < PATIENCE)
        return;
    if (m_with.fileWork.jobs().isSaving()) { // what it saves is nowhere else
        stay();
        m_with.labels.showStatus(u"❌ ยังไม่ได้ออก: ดิสก์ไม่ตอบสนอง"_s, true);
        return;
    }
    QCoreApplication::quit(); // the second request
}

void QuitGuard::stay()
{
    m_progressCheck.stop();
    m_givenUp = {};
    if (m_with.labels.statusText() == WAITING)
        m_with.labels.clearStatus();
    letDeletionsGo();
    Q_EMIT decided(false);
}

void QuitGuard::letDeletionsGo()
{
    if (!m_with.fileWork.holdsDeletions())
        return;
    // From the event loop: what drops the edits may be changing the list just now.
    const auto let = [this] {
        if (!isAsking() && !isWaiting() && !(m_hasSaveFailed && m_with.editor.editsUnsaved()))
            m_with.fileWork.letDeletionsGo();
    };
    QMetaObject::invokeMethod(this, let, Qt::QueuedConnection);
}

void QuitGuard::askToQuit()
{
    if (isAsking())
        return;
    m_progressCheck.stop(); // the answer begins another wait
    m_with.loupe.zoomEnd(); // the question would keep the release of the mouse from us
    const QString name = m_with.browser.isInList(m_with.browser.currentIndex())
                             ? displayName(m_with.browser.currentUrl())
                             : QString();
    auto *question = new QMessageBox(&m_with.window);
    m_quitQuestion = question;
    question->setAttribute(Qt::WA_DeleteOnClose);
    question->setPalette(darkPalette());
    question->setText(u"มีการแก้ไขที่ยังไม่ได้บันทึก"_s);
    question->setInformativeText(wrappableText(name) +
                                 u" ถูกครอป/หมุนแล้ว แต่ยังไม่ได้บันทึกลงโฟลเดอร์ Edit"_s);
    // A file may be called anything, and the box has no word for how this text is to be read.
    if (auto *label = question->findChild<QLabel *>(u"qt_msgbox_informativelabel"_s))
        label->setTextFormat(Qt::PlainText);
    auto *save = question->addButton(u"บันทึกแล้วออก"_s, QMessageBox::AcceptRole);
    auto *discard = question->addButton(u"ออกโดยไม่บันทึก"_s, QMessageBox::DestructiveRole);
    auto *cancel = question->addButton(u"ยกเลิก"_s, QMessageBox::RejectRole);
    question->setDefaultButton(save);
    question->setEscapeButton(cancel);
    m_hasSaveFailed = false;
    m_with.fileWork.holdDeletions(); // one that ends would drop these edits
    connect(question, &QDialog::finished, this, [this, question, save, discard] {
        m_with.search.restoreFocus();
        const auto *answer = question->clickedButton();
        takeAnswer(answer == save || answer == discard, answer == save);
    });
    question->open();
}

void QuitGuard::takeAnswer(bool quits, bool saves)
{
    Q_EMIT answered(!quits);
    if (!quits) {
        stay();
        return;
    }
    if (!saves) {
        m_givenUp = m_with.editor.editedImage();
        QCoreApplication::quit();
        return;
    }
    // An undo under way comes first, as it does for the save.
    m_with.editor.afterUndos([this] {
        m_with.fileWork.saveEdited();
        QCoreApplication::quit();
    });
}

void QuitGuard::answerSessionEnd(QSessionManager &session)
{
    if (areEditsSafe() && isIdle())
        return;
    // Waits for the desktop's leave; a session can only be cancelled by one who has it.
    const bool mayAsk = session.allowsInteraction() || areEditsSafe();
    // Where the user waits already, it is no second request of theirs.
    if (!isWaiting() && applicationShouldTerminate())
        return;
    bool ends = false;
    if (mayAsk) {
        // The desktop takes the handler's return for the answer.
        QEventLoop untilDecided;
        connect(this, &QuitGuard::decided, &untilDecided, [&](bool isEnd) {
            ends = isEnd;
            untilDecided.quit();
        });
        // A save that was to follow an undo is off when the picture is left.
        connect(&m_with.editor, &Editor::editsDropped, &untilDecided, [&] {
            if (!isAsking() && !isWaiting())
                untilDecided.quit();
        });
        untilDecided.exec();
    }
    if (!ends)
        session.cancel();
}

} // namespace tavolin
