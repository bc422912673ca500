// Unsaved edits are asked about before the program ends, whichever way it is asked to.

#include "app/Viewer.h"
#include "browse/InfoLine.h"
#include "browse/SearchField.h"
#include "screen/ViewerView.h"

#include <QEventLoop>
#include <QGuiApplication>
#include <QLabel>
#include <QMainWindow>
#include <QMessageBox>
#include <QPushButton>
#include <QSessionManager>

using namespace Qt::StringLiterals;

namespace tavolin {

void Viewer::guardQuitting()
{
    // Quitting closes every window first, so the window's close event stands for all ways but one.
    m_shell.window->installEventFilter(this);
    connect(qGuiApp, &QGuiApplication::commitDataRequest, this, &Viewer::answerSessionEnd,
            Qt::DirectConnection);
}

bool Viewer::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_shell.window.get() || event->type() != QEvent::Close ||
        applicationShouldTerminate())
        return QObject::eventFilter(watched, event);
    event->ignore();
    return true;
}

bool Viewer::mayQuit() const
{
    return !m_edit.editsUnsaved || m_edit.editedImage.isNull() || m_shell.benchMode ||
           m_shell.isQuitAllowed;
}

bool Viewer::applicationShouldTerminate()
{
    if (mayQuit())
        return true;
    askToQuit();
    return false;
}

void Viewer::askToQuit()
{
    if (m_shell.quitQuestion && m_shell.quitQuestion->isVisible())
        return;
    zoomEnd(); // the question would keep the release of the mouse from us
    const QString name = isInList(m_browse.currentIndex) ? displayName(currentUrl()) : QString();
    auto *question = new QMessageBox(m_shell.window.get());
    m_shell.quitQuestion = question;
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
        if (m_search.searchField)
            m_search.searchField->setFocus();
        else
            m_shell.view->setFocus();
        const auto *answer = question->clickedButton();
        if (answer == save)
            saveEdited();
        m_shell.isQuitAllowed = answer == discard || (answer == save && !m_edit.editsUnsaved);
        if (m_shell.isQuitAllowed)
            QCoreApplication::quit();
    });
    question->open();
}

void Viewer::answerSessionEnd(QSessionManager &session)
{
    if (mayQuit())
        return;
    const bool mayAsk = session.allowsInteraction(); // waits for the desktop's leave
    if (applicationShouldTerminate())
        return;
    if (mayAsk) {
        // The desktop takes the handler's return for the answer.
        QEventLoop untilAnswered;
        connect(m_shell.quitQuestion, &QObject::destroyed, &untilAnswered, &QEventLoop::quit);
        untilAnswered.exec();
    }
    if (!mayQuit())
        session.cancel();
}

} // namespace tavolin
