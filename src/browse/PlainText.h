#pragma once
// Text from files and their names, made fit for one line of a label. Pure functions.

#include <QString>

namespace tavolin {

/// @p text with a blank for everything that would act instead of being read: control characters,
/// line ends, and marks that turn the direction of writing, which could reverse the rest of the
/// line.
[[nodiscard]] QString plainText(QString text);

} // namespace tavolin
