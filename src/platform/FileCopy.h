#pragma once
// Copies of files that are never there by half.

#include "platform/Failure.h"
#include "platform/Progress.h"

#include <filesystem>

namespace tavolin {

/// Copies the file @p source into @p folder (absolute paths) under its own name: content, time of
/// modification, permissions and extended attributes, by the file system's own cheap copy where it
/// has one. A symbolic link is followed. @p folder and those above it are made where they are
/// missing. The new copy is written under another name (hidden, without an extension) until the
/// disk has all of it, and then takes the place of an earlier one, which a failure leaves alone.
/// After success the disk has its name, too. A source that is written to meanwhile is copied again,
/// and given up after a few times. What writing on this machine has left behind when it was killed
/// is cleared away. Where the place of the copy is the source itself, because @p folder is a link
/// to the source's, that is the failure. Where @p folder leads out of the source's folder, no file
/// there is replaced: one that is the same already is left alone, any other is the failure. After a
/// failure the folders that were made stay, but nothing incomplete is left. Says to @p progress how
/// it gets on. Waits for the disk; from any thread.
[[nodiscard]] Failure copyIntoFolder(const std::filesystem::path &source,
                                     const std::filesystem::path &folder,
                                     const Progress &progress = {});

} // namespace tavolin
