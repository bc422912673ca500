#pragma once
// Text from files and their names, made fit for a label. Pure functions.

#include <QString>

namespace tavolin {

/// @p text with a blank for everything that would act instead of being read: control characters,
/// line ends, and marks that turn the direction of writing, which could reverse the rest of the
/// line.
[[nodiscard]] QString plainText(QString text);

/// @p text for a label that wraps: what is longer than 40 units of UTF-16 without a place to end a
/// line gets one, which nobody sees, after each of its characters. Other text is left as it is.
[[nodiscard]] QString wrappableText(const QString &text);

} // namespace tavolin
