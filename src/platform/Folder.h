#pragma once
// Folders that are open, so that files get into the very one that was looked at, whatever becomes
// of the way to it meanwhile. Any thread; all of this waits for the disk.

#include "platform/Descriptor.h"

#include <filesystem>
#include <string>
#include <system_error>

namespace tavolin {

/// Opens the folder at the absolute @p path, and makes it and those above it where they are
/// missing; the disk has those then. None, with @p error set, where that fails.
[[nodiscard]] Descriptor openFolder(const std::filesystem::path &path, std::error_code &error);

/// Whether the open @p folder is that at @p path.
[[nodiscard]] bool isFolderAt(int folder, const std::filesystem::path &path);

/// Whether the open @p folder lies in the one at @p path, however deep; not where only a link
/// leads from there to it.
[[nodiscard]] bool isWithin(int folder, const std::filesystem::path &path);

/// Whether @p folder has something of this @p name, if only a link.
[[nodiscard]] bool hasName(int folder, const std::string &name);

/// Renames @p from in @p folder to @p to, unless there is something of that name; errno says why
/// not. Where the file system can't do both at once, there may be by then.
[[nodiscard]] bool renameToFreeName(int folder, const std::string &from, const std::string &to);

/// Opens the regular file @p name in @p folder for reading; none where there is no such file, or a
/// link in its place.
[[nodiscard]] Descriptor openRegularFileIn(int folder, const std::string &name);

/// Whether two files are one and the same.
[[nodiscard]] inline bool isSameFile(const struct stat &a, const struct stat &b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

} // namespace tavolin
