#pragma once
// What our calls of GIO, the file library of Linux desktops, have in common. Any thread.

#include "platform/Failure.h"

#include <filesystem>
#include <memory>
#include <system_error>

#include <gio/gio.h>

namespace tavolin {

struct GObjectDeleter
{
    void operator()(gpointer object) const { g_object_unref(object); }
};

using GioFile = std::unique_ptr<GFile, GObjectDeleter>;

/// The file at the absolute @p path, its bytes unchanged, of the local file system: without the
/// virtual ones, which would call for the desktop's daemons. The folder is the one that the system
/// finds: GIO would shorten "link/.." by its text alone. What is there may be a symbolic link, and
/// stays one. Null with @p error set where there is no such folder; waits for the disk.
[[nodiscard]] inline GioFile gioFile(const std::filesystem::path &path, std::error_code &error)
{
    const auto folder = std::filesystem::canonical(path.parent_path(), error);
    return GioFile(
        error ? nullptr
              : g_vfs_get_file_for_path(g_vfs_get_local(), (folder / path.filename()).c_str()));
}

/// The message of @p error, which is freed.
[[nodiscard]] inline Failure takeFailure(GError *error)
{
    Failure failure = QString::fromUtf8(error->message);
    g_error_free(error);
    return failure;
}

} // namespace tavolin
