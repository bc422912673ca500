#pragma once
// How an operation on files says that it failed.

#include <QString>

#include <cerrno>
#include <optional>
#include <system_error>

namespace tavolin {

/// Why something failed, in the user's language where we have a word for it, and in those of the
/// operating system otherwise; nothing when it succeeded. Short, as it stands for a moment only.
/// May hold file names: see plainText() before showing it.
using Failure = std::optional<QString>;

/// Why it failed with @p error, in the user's language; nothing where we have no word for it.
[[nodiscard]] Failure knownReason(const std::error_code &error);

/// What @p error, which is one, says.
[[nodiscard]] Failure failureOf(const std::error_code &error);

/// The error that the system has just told this thread of.
[[nodiscard]] inline std::error_code lastError()
{
    return {errno, std::generic_category()};
}

} // namespace tavolin
