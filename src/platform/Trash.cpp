#include "platform/Trash.h"

#include <QtGlobal>

#ifdef Q_OS_MACOS
#include <QFile>
#else
#include "platform/Gio.h"
#endif

namespace tavolin {

#ifdef Q_OS_MACOS

Failure moveToTrash(const std::filesystem::path &file)
{
    QFile moved(QFile::decodeName(file.c_str()));
    return moved.moveToTrash() ? Failure() : moved.errorString();
}

#else

// Not QFile::moveToTrash: where ~/.local/share is missing it moves files into the current folder.
Failure moveToTrash(const std::filesystem::path &file)
{
    std::error_code noFolder;
    const GioFile moved = gioFile(file, noFolder);
    if (!moved)
        return failureOf(noFolder);
    GError *error = nullptr;
    return g_file_trash(moved.get(), nullptr, &error) ? Failure() : takeFailure(error);
}

#endif

} // namespace tavolin
