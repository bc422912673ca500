#pragma once
// The wording of the top line. Pure functions.

#include <QString>

#include <filesystem>

namespace tavolin {

/// The file name of @p path as text on one line: bytes that are not UTF-8 become U+FFFD, and
/// what plainText() says a blank. For reading only; it does not lead back to the file.
[[nodiscard]] QString displayName(const std::filesystem::path &path);

/// The info line for position @p targetIndex (from 0) of @p count files, on @p file: position,
/// name (isolated where letters in it are written from right to left), the edited marker if @p
/// isEdited, and the help hint.
[[nodiscard]] QString infoText(int targetIndex, int count, const std::filesystem::path &file,
                               bool isEdited);

} // namespace tavolin
