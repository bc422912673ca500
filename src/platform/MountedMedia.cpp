#include "platform/MountedMedia.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

namespace tavolin {

namespace {

constexpr std::array<std::string_view, 3> MEDIA_ROOTS{"/media", "/run/media", "/mnt"};

bool isMedia(std::string_view folder)
{
    return std::ranges::any_of(MEDIA_ROOTS, [folder](std::string_view root) {
        return folder.starts_with(root) &&
               (folder.size() == root.size() || folder[root.size()] == '/');
    });
}

bool isOctal(char c)
{
    return c >= '0' && c <= '7';
}

/// @p field without its escapes: a backslash and three octal digits stand for a byte.
std::string unescaped(std::string_view field)
{
    std::string bytes;
    while (!field.empty()) {
        const bool isEscape = field.size() >= 4 && field[0] == '\\' &&
                              std::ranges::all_of(field.substr(1, 3), isOctal);
        bytes += isEscape ? static_cast<char>((field[1] - '0') << 6 | (field[2] - '0') << 3 |
                                              (field[3] - '0'))
                          : field[0];
        field.remove_prefix(isEscape ? 4 : 1);
    }
    return bytes;
}

} // namespace

std::vector<std::filesystem::path> mountedMedia()
{
    std::ifstream file("/proc/self/mounts");
    return mediaFolders(std::string(std::istreambuf_iterator<char>(file), {}));
}

std::vector<std::filesystem::path> mediaFolders(std::string_view mounts)
{
    std::vector<std::filesystem::path> folders;
    std::istringstream lines{std::string(mounts)};
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        std::string device;
        std::string mountPoint;
        fields >> device >> mountPoint;
        const std::filesystem::path folder = unescaped(mountPoint);
        if (isMedia(folder.native()) && std::ranges::find(folders, folder) == folders.end())
            folders.push_back(folder);
    }
    return folders;
}

} // namespace tavolin
