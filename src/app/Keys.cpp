// From a key press to the command it means.

#include "app/KeyMap.h"
#include "app/Viewer.h"

#include <QCoreApplication>
#include <QKeyEvent>

namespace tavolin {

bool Viewer::handleKey(const QKeyEvent &event)
{
    const auto key = keyCode(event);
    if (!key || (event.modifiers() & Qt::ControlModifier))
        return false;
    const auto command = commandForKey(*key);
    if (!command)
        return false;
    switch (*command) {
    case Command::ToggleFullScreen:
        toggleFullScreen();
        break;
    case Command::OpenFolder:
        openDialog();
        break;
    case Command::NextPicture:
        navigate(+1);
        break;
    case Command::PreviousPicture:
        navigate(-1);
        break;
    case Command::Quit:
        QCoreApplication::quit();
        break;
    }
    return true;
}

} // namespace tavolin
