#pragma once
// Who may read and write a file. Any thread; waits for the disk.

#include <filesystem>

namespace tavolin {

/// Gives those the open @p file, which is the user's own, who may read or write @p source: its
/// permissions, its group and its list of access. Where group or list can't be given, the group may
/// do what everybody may. Where @p source is gone, nothing changes.
void copyPermissions(const std::filesystem::path &source, int file);

} // namespace tavolin
