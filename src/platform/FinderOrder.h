#pragma once
// File names in the order in which a person expects them: IMG_2 before IMG_10, b beside B.

#include <string>
#include <vector>

namespace tavolin {

/// @p names in the order of the user's language (LC_ALL, LC_COLLATE, LANG; the language-neutral
/// order when these name none): numbers by value, upper and lower case alike, accents after plain
/// letters. Names that differ in none of this keep their order. Names are bytes and come back
/// untouched; what is not UTF-8 in them sorts as U+FFFD. If the system's collation fails the order
/// is that of the bytes. From any thread.
[[nodiscard]] std::vector<std::string> sortedLikeFinder(std::vector<std::string> names);

/// The same in the order of @p locale, a language tag as in "th" or "zh-TW"; an empty or unknown
/// one means the language-neutral order.
[[nodiscard]] std::vector<std::string> sortedLikeFinder(std::vector<std::string> names,
                                                        const std::string &locale);

} // namespace tavolin
