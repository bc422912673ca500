#pragma once
// What our calls of GIO, the file library of Linux desktops, have in common. Any thread.

#include "platform/Failure.h"

#include <filesystem>
#include <memory>

#include <gio/gio.h>

namespace tavolin {

struct GObjectDeleter
{
    void operator()(gpointer object) const { g_object_unref(object); }
};

using GioFile = std::unique_ptr<GFile, GObjectDeleter>;

/// @p path, its bytes unchanged, as a file of the local file system: without the virtual ones,
/// which would call for the desktop's daemons.
[[nodiscard]] inline GioFile gioFile(const std::filesystem::path &path)
{
    return GioFile(g_vfs_get_file_for_path(g_vfs_get_local(), path.c_str()));
}

/// The message of @p error, which is freed.
[[nodiscard]] inline Failure takeFailure(GError *error)
{
    Failure failure = QString::fromUtf8(error->message);
    g_error_free(error);
    return failure;
}

} // namespace tavolin
