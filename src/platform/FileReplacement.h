#pragma once
// Writing a file so that it is never there half written. Usable from any thread.

#include "platform/Progress.h"

#include <cstddef>
#include <filesystem>
#include <span>

namespace tavolin {

/// Makes @p content the content of @p file, whose folder exists; an earlier file of that name is
/// replaced as a whole, and whatever happens (a full disk, a crash, lost power) either the old or
/// the new content is there: see NewFile. False when it can't be written. Says to @p progress how
/// that gets on.
bool replaceFile(const std::filesystem::path &file, std::span<const std::byte> content,
                 const Progress &progress = {});

} // namespace tavolin
