#pragma once
// What the folder chooser decides: where a path that was typed leads, and the places at its side.
// Pure functions; paths are absolute, and bytes that are never re-encoded.

#include <QString>

#include <filesystem>
#include <optional>
#include <vector>

namespace tavolin {

/// A folder that is one click away.
struct Place
{
    QString name;
    std::filesystem::path folder;
};

/// @p path as text on one line: bytes that are not UTF-8 become U+FFFD, and what plainText() says a
/// blank.
[[nodiscard]] QString pathText(const std::filesystem::path &path);

/// The folder that is meant by @p text, typed where pathText(@p shown) stood: a path from the root,
/// one from @p home behind "~", or else one from @p shown; @p shown itself if empty. What begins as
/// the texts of @p shown and the folders above it do means these, bytes that can't be typed
/// included. Without "." and "..", and without a slash at the end.
[[nodiscard]] std::filesystem::path typedFolder(const QString &text,
                                                const std::filesystem::path &shown,
                                                const std::filesystem::path &home);

/// The places of a user: @p home, @p pictures if that is known, and @p media; each folder once.
[[nodiscard]] std::vector<Place> placesOf(const std::filesystem::path &home,
                                          const std::optional<std::filesystem::path> &pictures,
                                          const std::vector<std::filesystem::path> &media);

} // namespace tavolin
