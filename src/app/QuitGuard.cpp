#include "app/QuitGuard.h"

#include "browse/Browser.h"
#include "browse/FilenameJump.h"
#include "browse/InfoLine.h"
#include "editing/Editor.h"
#include "fileops/FileWork.h"
#include "screen/Loupe.h"

#include <QEvent>
#include <QEventLoop>
#include <QGuiApplication>
#include <QLabel>
#include <QMainWindow>
#include <QPushButton>
#include <QSessionManager>

using namespace Qt::StringLiterals;

namespace tavolin {

QuitGuard::QuitGuard(const QuitNeighbors &neighbors) : m_with(neighbors)
{
    // Quitting closes every window first, so the window's close event stands for all ways but one.
    m_with.window.installEventFilter(this);
    connect(qGuiApp, &QGuiApplication::commitDataRequest, this, &QuitGuard::answerSessionEnd,
            Qt::DirectConnection);
    connect(&m_with.editor, &Editor::editsDropped, this, [this] {
        if (m_quitQuestion)
            m_quitQuestion->close(); // it asks about these edits
    });
}

bool QuitGuard::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != &m_with.window || event->type() != QEvent::Close || applicationShouldTerminate())
        return QObject::eventFilter(watched, event);
    event->ignore();
    return true;
}

bool QuitGuard::mayQuit() const
{
    return !m_with.editor.editsUnsaved() || m_isQuitAllowed;
}

bool QuitGuard::applicationShouldTerminate()
{
    if (mayQuit())
        return true;
    askToQuit();
    return false;
}

void QuitGuard::askToQuit()
{
    if (m_quitQuestion && m_quitQuestion->isVisible())
        return;
    m_with.loupe.zoomEnd(); // the question would keep the release of the mouse from us
    const QString name = m_with.browser.isInList(m_with.browser.currentIndex())
                             ? displayName(m_with.browser.currentUrl())
                             : QString();
    auto *question = new QMessageBox(&m_with.window);
    m_quitQuestion = question;
    question->setAttribute(Qt::WA_DeleteOnClose);
    question->setText(u"มีการแก้ไขที่ยังไม่ได้บันทึก"_s);
    question->setInformativeText(name + u" ถูกครอป/หมุนแล้ว แต่ยังไม่ได้บันทึกลงโฟลเดอร์ Edit"_s);
    // A file may be called anything, and the box has no word for how this text is to be read.
    if (auto *label = question->findChild<QLabel *>(u"qt_msgbox_informativelabel"_s))
        label->setTextFormat(Qt::PlainText);
    auto *save = question->addButton(u"บันทึกแล้วออก"_s, QMessageBox::AcceptRole);
    auto *discard = question->addButton(u"ออกโดยไม่บันทึก"_s, QMessageBox::DestructiveRole);
    auto *cancel = question->addButton(u"ยกเลิก"_s, QMessageBox::RejectRole);
    question->setDefaultButton(save);
    question->setEscapeButton(cancel);
    connect(question, &QDialog::finished, this, [this, question, save, discard] {
        m_with.search.restoreFocus();
        const auto *answer = question->clickedButton();
        if (answer == save)
            m_with.fileWork.saveEdited();
        m_isQuitAllowed = answer == discard || (answer == save && !m_with.editor.editsUnsaved());
        if (m_isQuitAllowed)
            QCoreApplication::quit();
    });
    question->open();
}

void QuitGuard::answerSessionEnd(QSessionManager &session)
{
    if (mayQuit())
        return;
    const bool mayAsk = session.allowsInteraction(); // waits for the desktop's leave
    if (applicationShouldTerminate())
        return;
    if (mayAsk) {
        // The desktop takes the handler's return for the answer.
        QEventLoop untilAnswered;
        connect(m_quitQuestion, &QObject::destroyed, &untilAnswered, &QEventLoop::quit);
        untilAnswered.exec();
    }
    if (!mayQuit())
        session.cancel();
}

} // namespace tavolin
