#include "browse/ImageList.h"

#include "pixels/FileExtensions.h"
#include "platform/FinderOrder.h"

#include <algorithm>
#include <utility>

namespace tavolin {

FolderList listForPath(const std::filesystem::path &url, const std::stop_token &stop)
{
    if (stop.stop_requested())
        return {};
    std::error_code error;
    const auto path = std::filesystem::absolute(url, error);
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status))
        return {};
    if (std::filesystem::is_directory(status))
        return listForFolder(path, std::nullopt, stop);
    return listForFolder(path.parent_path(), path.parent_path() / path.filename(), stop);
}

FolderList listForFolder(const std::filesystem::path &folder,
                         const std::optional<std::filesystem::path> &startAt,
                         const std::stop_token &stop)
{
    if (stop.stop_requested())
        return {};
    FolderList list{.exists = true};
    if (auto names = listFolder(folder, stop)) {
        list.images = makeImageList(folder, std::move(*names));
        list.start = startIndex(*list.images, startAt);
    }
    return list;
}

std::optional<std::vector<std::string>> listFolder(const std::filesystem::path &folder,
                                                   const std::stop_token &stop)
{
    std::error_code error;
    std::vector<std::string> names;
    std::filesystem::directory_iterator entry(folder, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        if (stop.stop_requested())
            return std::nullopt;
        names.push_back(entry->path().filename().native());
    }
    return error ? std::nullopt : std::optional(std::move(names));
}

std::vector<std::string> imageNames(std::vector<std::string> names)
{
    std::erase_if(names, [](const std::string &name) {
        return name.starts_with("._") || !hasImageExtension(name);
    });
    return names;
}

std::vector<std::filesystem::path> makeImageList(const std::filesystem::path &folder,
                                                 std::vector<std::string> names)
{
    std::vector<std::filesystem::path> list;
    for (const std::string &name : sortedLikeFinder(imageNames(std::move(names))))
        list.push_back(folder / name);
    return list;
}

int startIndex(const std::vector<std::filesystem::path> &imageList,
               const std::optional<std::filesystem::path> &startAt)
{
    if (!startAt)
        return 0;
    // Compared as bytes: filesystem's own comparison takes paths apart, which 100,000 of them feel.
    const auto found = std::find_if(imageList.begin(), imageList.end(), [&](const auto &path) {
        return path.native() == startAt->native();
    });
    return found == imageList.end() ? 0 : static_cast<int>(found - imageList.begin());
}

std::optional<int> indexOf(const std::filesystem::path &file,
                           const std::vector<std::filesystem::path> &imageList, int expected)
{
    // Paths are compared once; they take time, as above.
    if (imageList.empty() || imageList.front().parent_path() != file.parent_path())
        return {};
    const std::string name = '/' + file.filename().native();
    const auto isAt = [&](int index) {
        return index >= 0 && static_cast<std::size_t>(index) < imageList.size() &&
               imageList[static_cast<std::size_t>(index)].native().ends_with(name);
    };
    const int size = static_cast<int>(imageList.size());
    for (int distance = 0; distance <= std::max(expected, size - expected); ++distance) {
        for (const int index : {expected - distance, expected + distance})
            if (isAt(index))
                return index;
    }
    return {};
}

} // namespace tavolin
