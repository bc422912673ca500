#include "browse/Subfolders.h"

#include "platform/FinderOrder.h"

#include <utility>

namespace tavolin {

std::optional<Subfolders> listSubfolders(const std::filesystem::path &folder,
                                         const std::stop_token &stop)
{
    if (stop.stop_requested())
        return std::nullopt;
    Subfolders found;
    std::filesystem::directory_iterator entry(folder, found.error);
    while (!found.error && entry != std::filesystem::directory_iterator()) {
        if (stop.stop_requested())
            return std::nullopt;
        // The entry knows what it is from the listing, where that says it.
        std::error_code ignored; // it may have gone
        std::string name = entry->path().filename().native();
        if (!name.starts_with('.')) {
            if (entry->is_symlink(ignored))
                found.links.push_back(std::move(name));
            else if (entry->is_directory(ignored))
                found.names.push_back(std::move(name));
        }
        entry.increment(found.error);
    }
    found.names = sortedLikeFinder(std::move(found.names));
    return found;
}

std::optional<Subfolders> withLinks(const std::filesystem::path &folder, Subfolders listed,
                                    const std::stop_token &stop)
{
    for (std::string &name : std::exchange(listed.links, {})) {
        if (stop.stop_requested())
            return std::nullopt;
        if (isFolder(folder / name))
            listed.names.push_back(std::move(name));
    }
    listed.names = sortedLikeFinder(std::move(listed.names));
    return listed;
}

bool isFolder(const std::filesystem::path &folder)
{
    std::error_code ignored;
    return std::filesystem::is_directory(folder, ignored);
}

} // namespace tavolin
