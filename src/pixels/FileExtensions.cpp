#include "pixels/FileExtensions.h"

#include <algorithm>
#include <string>

namespace tavolin {

namespace {

/// What follows the last dot of the file name in lower case; empty without a dot. Works on the
/// bytes: a name need not be valid in any encoding.
std::string extensionOf(const std::filesystem::path &path)
{
    const std::string &whole = path.native();
    const std::size_t slash = whole.rfind('/');
    std::string name = slash == std::string::npos ? whole : whole.substr(slash + 1);
    const std::size_t dot = name.rfind('.');
    if (dot == std::string::npos)
        return {};
    name.erase(0, dot + 1);
    std::transform(name.begin(), name.end(), name.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return name;
}

template <typename List>
bool contains(const List &list, std::string_view text)
{
    return std::find(list.begin(), list.end(), text) != list.end();
}

} // namespace

bool hasImageExtension(const std::filesystem::path &path)
{
    return contains(IMAGE_EXTS, extensionOf(path));
}

bool hasRawExtension(const std::filesystem::path &path)
{
    return contains(RAW_EXTS, extensionOf(path));
}

} // namespace tavolin
