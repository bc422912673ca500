#pragma once
// Cards, sticks and shares that are mounted, as the system lists them. None of them is asked for
// anything.

#include <filesystem>
#include <string_view>
#include <vector>

namespace tavolin {

/// Where they are mounted now, as mediaFolders() says; empty where the system keeps no such list.
/// From any thread but the main one: a file is read.
[[nodiscard]] std::vector<std::filesystem::path> mountedMedia();

/// The mount points in @p mounts, in the form of fstab(5), where desktops and people put media: in
/// "/media", "/run/media" and "/mnt", or these themselves. In the same order, each once.
[[nodiscard]] std::vector<std::filesystem::path> mediaFolders(std::string_view mounts);

} // namespace tavolin
