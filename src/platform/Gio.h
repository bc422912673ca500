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

/// What @p error says, which is freed: a reason that we have a word for, or its message.
[[nodiscard]] inline Failure takeFailure(GError *error)
{
    // What GIO leaves to GLib comes with codes of that.
    const auto is = [error](GIOErrorEnum code, GFileError same) {
        return g_error_matches(error, G_IO_ERROR, code) ||
               g_error_matches(error, G_FILE_ERROR, same);
    };
    std::errc reason{};
    if (is(G_IO_ERROR_NO_SPACE, G_FILE_ERROR_NOSPC))
        reason = std::errc::no_space_on_device;
    else if (is(G_IO_ERROR_PERMISSION_DENIED, G_FILE_ERROR_ACCES))
        reason = std::errc::permission_denied;
    else if (is(G_IO_ERROR_READ_ONLY, G_FILE_ERROR_ROFS))
        reason = std::errc::read_only_file_system;
    else if (is(G_IO_ERROR_FILENAME_TOO_LONG, G_FILE_ERROR_NAMETOOLONG))
        reason = std::errc::filename_too_long;
    const Failure known = knownReason(std::make_error_code(reason));
    Failure failure = known ? known : QString::fromUtf8(error->message);
    g_error_free(error);
    return failure;
}

} // namespace tavolin
