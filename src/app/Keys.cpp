// From a key press to the command it means, and the help page that lists them.

#include "app/HelpView.h"
#include "app/KeyMap.h"
#include "app/Viewer.h"
#include "screen/ViewerView.h"

#include <QCoreApplication>
#include <QKeyEvent>

#include <utility>

namespace tavolin {

bool Viewer::handleKey(const QKeyEvent &event)
{
    const auto key = keyCode(event);
    if (event.modifiers() & Qt::ControlModifier) {
        if (key != KeyCode::Z)
            return false;
        undoEdit();
        return true;
    }
    if (m_crop.cropMode) {
        handleCropKey(key, event.modifiers() & Qt::ShiftModifier);
        return true;
    }
    const auto command = key ? commandForKey(*key) : std::nullopt;
    if (!command)
        return false;
    switch (*command) {
    case Command::ToggleFullScreen:
        toggleFullScreen();
        break;
    case Command::ToggleHelp:
        toggleHelp();
        break;
    case Command::OpenFolder:
        openDialog();
        break;
    case Command::OpenSearch:
        openSearch();
        break;
    case Command::CopyToHL:
        copyToHL();
        break;
    case Command::DeleteCurrent:
        deleteCurrent();
        break;
    case Command::EnterCrop:
        enterCrop();
        break;
    case Command::SaveEdited:
        saveEdited();
        break;
    case Command::NextPicture:
        navigate(+1);
        break;
    case Command::PreviousPicture:
        navigate(-1);
        break;
    case Command::Leave:
        if (m_shell.helpView)
            toggleHelp();
        else
            QCoreApplication::quit();
        break;
    }
    return true;
}

void Viewer::toggleHelp()
{
    if (m_shell.helpView) {
        delete std::exchange(m_shell.helpView, nullptr);
        return;
    }
    m_shell.helpView = new HelpView(m_shell.view);
}

} // namespace tavolin
