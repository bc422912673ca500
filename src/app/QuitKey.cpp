#include "app/QuitKey.h"

#include "platform/KeyCodes.h"
#include "platform/KeyRepeat.h"

#include <QCoreApplication>
#include <QKeyEvent>
#ifdef Q_OS_MACOS
#include <QMenuBar>
#endif

using namespace Qt::StringLiterals;

namespace tavolin {

#ifdef Q_OS_MACOS

void installQuitKey(QObject &owner)
{
    auto *bar = new QMenuBar; // without a parent: the one that all windows share
    QObject::connect(&owner, &QObject::destroyed, bar, &QObject::deleteLater);
    QAction *quit = bar->addMenu(u"Tavolin Viewer"_s)->addAction(u"Quit Tavolin Viewer"_s);
    quit->setMenuRole(QAction::QuitRole);
    quit->setShortcut(QKeySequence::Quit);
    QObject::connect(quit, &QAction::triggered, &owner, &QCoreApplication::quit);
}

#else

namespace {

/// French keyboards have an A at the place of Q, and Ctrl and A are for selecting all.
bool isQ(const QKeyEvent &press)
{
    const int symbol = press.key();
    const bool isLatinLetter = symbol >= Qt::Key_A && symbol <= Qt::Key_Z;
    return isLatinLetter ? symbol == Qt::Key_Q : keyCode(press) == KeyCode::Q;
}

/// Sees every event before the widget it is for.
class QuitKeyFilter : public QObject
{
public:
    using QObject::QObject;

    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() != QEvent::KeyPress)
            return false;
        const auto &press = *static_cast<QKeyEvent *>(event);
        if (!(press.modifiers() & Qt::ControlModifier) || !isQ(press))
            return false;
        if (!m_repeat.isRepeat(press.isAutoRepeat())) // a held key asks once
            QCoreApplication::quit();
        return true;
    }

private:
    KeyRepeat m_repeat;
};

} // namespace

void installQuitKey(QObject &owner)
{
    QCoreApplication::instance()->installEventFilter(new QuitKeyFilter(&owner));
}

#endif

} // namespace tavolin
