#pragma once
// How an operation on files says that it failed.

#include <QString>

#include <optional>
#include <system_error>

namespace tavolin {

/// Why something failed, in the words of the operating system and, where it has them, in the user's
/// language; nothing when it succeeded. May hold file names: see plainText() before showing it.
using Failure = std::optional<QString>;

/// What @p error, which is one, says.
[[nodiscard]] inline Failure failureOf(const std::error_code &error)
{
    return QString::fromLocal8Bit(error.message());
}

} // namespace tavolin
