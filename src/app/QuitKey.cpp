#include "app/QuitKey.h"

#include "platform/KeyCodes.h"
#include "platform/KeyRepeat.h"

#include <QChar>
#include <QCoreApplication>
#include <QKeyEvent>
#ifdef Q_OS_MACOS
#include <QMenuBar>
#endif

#include <optional>

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

/// The script of the letter that @p press writes; none when that is no letter.
std::optional<QChar::Script> scriptOf(const QKeyEvent &press)
{
    // Qt numbers keys that write a character by that character.
    const auto symbol = static_cast<char32_t>(press.key());
    if (symbol > QChar::LastValidCodePoint || !QChar::isLetter(symbol))
        return std::nullopt;
    return QChar::script(symbol);
}

/// Sees every event before the widget it is for.
class QuitKeyFilter : public QObject
{
public:
    using QObject::QObject;

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        // Keys come to windows and widgets. What another thread has posted to a mailbox is not to
        // be read here: see Mailbox.
        if (!watched->isWindowType() && !watched->isWidgetType())
            return false;
        if (event->type() != QEvent::KeyPress)
            return false;
        const auto &press = *static_cast<QKeyEvent *>(event);
        const auto script = scriptOf(press);
        if (!(press.modifiers() & Qt::ControlModifier)) {
            m_script = script ? script : m_script;
            return false;
        }
        if (!isQ(press, script ? script : m_script))
            return false;
        if (!m_repeat.isRepeat(press.isAutoRepeat())) // a held key asks once
            QCoreApplication::quit();
        return true;
    }

private:
    /// French keyboards have an A at the place of Q, and Ctrl and A are for selecting all; others
    /// have no letter there. @p script is that of the layout, where it is known.
    static bool isQ(const QKeyEvent &press, std::optional<QChar::Script> script)
    {
        return script == QChar::Script_Latin ? press.key() == Qt::Key_Q
                                             : keyCode(press) == KeyCode::Q;
    }

    KeyRepeat m_repeat;
    std::optional<QChar::Script> m_script; // of the last letter that was written
};

} // namespace

void installQuitKey(QObject &owner)
{
    QCoreApplication::instance()->installEventFilter(new QuitKeyFilter(&owner));
}

#endif

} // namespace tavolin
