#pragma once
// Which files of a folder are shown, and in what order. Names are bytes and never re-encoded.

#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace tavolin {

/// What there is to open at a path.
struct FolderList
{
    bool exists = false; ///< Something is there.
    /// The picture files in display order; empty optional when the folder can't be read.
    std::optional<std::vector<std::filesystem::path>> images;
    int start = 0; ///< The position to begin at.
};

/// A folder, or the folder of a file beginning at that file. Any thread; of no use once @p stop is
/// requested.
[[nodiscard]] FolderList listForPath(const std::filesystem::path &url,
                                     const std::stop_token &stop = {});

/// @p folder, as if it existed, beginning at @p startAt if that is in it. As before.
[[nodiscard]] FolderList listForFolder(const std::filesystem::path &folder,
                                       const std::optional<std::filesystem::path> &startAt,
                                       const std::stop_token &stop = {});

/// The names of all entries of @p folder, one level deep, in the order the system gives them,
/// hidden ones included. Empty optional when the folder can't be read, or @p stop is requested.
[[nodiscard]] std::optional<std::vector<std::string>>
listFolder(const std::filesystem::path &folder, const std::stop_token &stop = {});

/// The picture files among @p names, in the same order: by extension, without resource-fork
/// companions ("._…"). What an entry is besides its name does not count.
[[nodiscard]] std::vector<std::string> imageNames(std::vector<std::string> names);

/// The picture files of @p folder among @p names, in display order.
[[nodiscard]] std::vector<std::filesystem::path> makeImageList(const std::filesystem::path &folder,
                                                               std::vector<std::string> names);

/// The first position of @p startAt in @p imageList; 0 when it isn't there.
[[nodiscard]] int startIndex(const std::vector<std::filesystem::path> &imageList,
                             const std::optional<std::filesystem::path> &startAt);

/// Where @p file is in @p imageList, which is of one folder; empty when it isn't there. Looked for
/// from @p expected in both directions, so that it is found at once near there in a long list.
[[nodiscard]] std::optional<int> indexOf(const std::filesystem::path &file,
                                         const std::vector<std::filesystem::path> &imageList,
                                         int expected);

} // namespace tavolin
