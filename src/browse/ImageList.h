#pragma once
// Which files of a folder are shown, and in what order. Names are bytes and never re-encoded.

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tavolin {

/// The names of all entries of @p folder, one level deep, in the order the system gives them,
/// hidden ones included. Empty optional when the folder can't be read.
[[nodiscard]] std::optional<std::vector<std::string>>
listFolder(const std::filesystem::path &folder);

/// The picture files among @p names, in the same order: by extension, without resource-fork
/// companions ("._…"). What an entry is besides its name does not count.
[[nodiscard]] std::vector<std::string> imageNames(std::vector<std::string> names);

/// The picture files of @p folder among @p names, in display order.
[[nodiscard]] std::vector<std::filesystem::path> makeImageList(const std::filesystem::path &folder,
                                                               std::vector<std::string> names);

/// The first position of @p startAt in @p imageList; 0 when it isn't there.
[[nodiscard]] int startIndex(const std::vector<std::filesystem::path> &imageList,
                             const std::optional<std::filesystem::path> &startAt);

} // namespace tavolin
