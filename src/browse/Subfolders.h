#pragma once
// The folders in a folder, as the folder chooser lists them. Names are bytes and never re-encoded.

#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <system_error>
#include <vector>

namespace tavolin {

/// What a folder has in it that can be entered; hidden names (".…") are left out.
struct Subfolders
{
    std::error_code error;          ///< Why it can't be read, if so.
    std::vector<std::string> names; ///< In display order.
    /// Symbolic links to whatever: what they lead to may be on another disk, so nobody has looked.
    std::vector<std::string> links;
};

/// Lists @p folder; null once @p stop is requested. Only the folder itself is asked, and its
/// entries only where the file system does not say what they are.
[[nodiscard]] std::optional<Subfolders> listSubfolders(const std::filesystem::path &folder,
                                                       const std::stop_token &stop = {});

/// @p listed, as listSubfolders() gave it for @p folder, with those of its links among the names
/// that lead to folders, and none left. Null once @p stop is requested.
[[nodiscard]] std::optional<Subfolders>
withLinks(const std::filesystem::path &folder, Subfolders listed, const std::stop_token &stop = {});

/// Whether somebody can look at @p folder, and a folder it is.
[[nodiscard]] bool isFolder(const std::filesystem::path &folder);

} // namespace tavolin
