#pragma once
// The desktop's Trash.

#include "platform/Failure.h"

#include <filesystem>

namespace tavolin {

/// Moves @p file (an absolute path) to the Trash of the file system it is on, from where the file
/// manager restores it: on Linux the user's own or the one that every mount can have. Of a symbolic
/// link the link goes. Never copies: at every moment the whole file is either in its place or in
/// the Trash, and where there can be no Trash it stays. So does one that the Trash could not
/// restore, as its name is too long, or where the Trash failed to write down its place. From any
/// thread; may wait for the disk.
[[nodiscard]] Failure moveToTrash(const std::filesystem::path &file);

} // namespace tavolin
