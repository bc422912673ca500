#include "platform/FinderOrder.h"

#include <QLocale>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <optional>
#include <utility>

#include <unicode/ucol.h>
#include <unicode/ustring.h>

namespace tavolin {

namespace {

/// The replacement for bytes that are not UTF-8.
constexpr UChar32 REPLACEMENT_CHARACTER = 0xfffd;

/// Room for one sort key before its length is known; names of ordinary length fit.
constexpr std::size_t KEY_BYTES = 256;

/// The collation keys of some names, one after the other; each ends with its only zero byte.
struct SortKeys
{
    std::vector<char> bytes;
    std::vector<std::size_t> starts; ///< Where in bytes the key of each name begins.

    [[nodiscard]] const char *at(std::size_t name) const { return bytes.data() + starts[name]; }
};

/// Null when ICU can't give it.
icu::LocalUCollatorPointer openCollator(const std::string &locale)
{
    UErrorCode status = U_ZERO_ERROR;
    icu::LocalUCollatorPointer collator(ucol_open(locale.c_str(), &status));
    const auto set = [&](UColAttribute attribute, UColAttributeValue value) {
        ucol_setAttribute(collator.getAlias(), attribute, value, &status);
    };
    set(UCOL_NUMERIC_COLLATION, UCOL_ON);
    set(UCOL_STRENGTH, UCOL_SECONDARY);               // case is a tertiary difference
    set(UCOL_ALTERNATE_HANDLING, UCOL_NON_IGNORABLE); // spaces and punctuation count
    set(UCOL_NORMALIZATION_MODE, UCOL_ON);            // é is é, composed or not
    return U_SUCCESS(status) ? std::move(collator) : icu::LocalUCollatorPointer();
}

/// The keys of @p names in order; empty on failure.
std::optional<SortKeys> sortKeys(const std::vector<std::string> &names, const std::string &locale)
{
    const icu::LocalUCollatorPointer collator = openCollator(locale);
    if (collator.isNull())
        return std::nullopt;
    SortKeys keys;
    keys.starts.reserve(names.size());
    std::vector<UChar> text;
    std::size_t end = 0;
    for (const std::string &name : names) {
        // UTF-16 never has more units than UTF-8 has bytes.
        text.resize(std::max(text.size(), name.size() + 1));
        std::int32_t units = 0;
        UErrorCode status = U_ZERO_ERROR;
        u_strFromUTF8WithSub(text.data(), static_cast<std::int32_t>(text.size()), &units,
                             name.data(), static_cast<std::int32_t>(name.size()),
                             REPLACEMENT_CHARACTER, nullptr, &status);
        if (U_FAILURE(status))
            return std::nullopt;

        keys.starts.push_back(end);
        std::size_t length = KEY_BYTES;
        std::size_t room = 0;
        while (length > room) {
            keys.bytes.resize(std::max(keys.bytes.size(), end + length));
            room = keys.bytes.size() - end;
            length = static_cast<std::size_t>(
                ucol_getSortKey(collator.getAlias(), text.data(), units,
                                reinterpret_cast<std::uint8_t *>(keys.bytes.data() + end),
                                static_cast<std::int32_t>(room)));
        }
        if (length == 0)
            return std::nullopt;
        end += length;
    }
    return keys;
}

/// The user's language for sorting, as a tag. QLocale knows each system's way to say it; ICU alone
/// would look at the language of messages, and takes C for a locale that ignores all of this.
std::string userLocale()
{
    const QLocale locale = QLocale::system().collation();
    return locale.language() == QLocale::C ? std::string() : locale.bcp47Name().toStdString();
}

} // namespace

std::vector<std::string> sortedLikeFinder(std::vector<std::string> names)
{
    return sortedLikeFinder(std::move(names), userLocale());
}

std::vector<std::string> sortedLikeFinder(std::vector<std::string> names, const std::string &locale)
{
    const std::optional<SortKeys> keys = sortKeys(names, locale);
    if (!keys) {
        std::ranges::sort(names);
        return names;
    }
    std::vector<std::size_t> order(names.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::stable_sort(order, [&keys](std::size_t left, std::size_t right) {
        return std::strcmp(keys->at(left), keys->at(right)) < 0;
    });
    std::vector<std::string> sorted;
    sorted.reserve(names.size());
    for (const std::size_t name : order)
        sorted.push_back(std::move(names[name]));
    return sorted;
}

} // namespace tavolin
