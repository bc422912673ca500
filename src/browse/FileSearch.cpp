#include "browse/FileSearch.h"

#include <algorithm>

namespace tavolin {

namespace {

/// @p text in the form that names and queries are compared in. Letters are composed because a name
/// may be stored with é or with e and a combining accent, which nobody can tell apart: so both are
/// found by é, however it was typed, and neither by e.
QString searchable(const QString &text)
{
    return text.toLower().normalized(QString::NormalizationForm_C);
}

} // namespace

FileSearch::FileSearch(const std::vector<std::filesystem::path> &imageList)
{
    m_names.reserve(imageList.size());
    // Bytes that are not UTF-8 become U+FFFD here; the rest of such a name can still be found.
    for (const std::filesystem::path &file : imageList)
        m_names.push_back(searchable(QString::fromStdString(file.filename().native())));
}

std::optional<int> FileSearch::firstMatch(const QString &query) const
{
    if (query.isEmpty())
        return std::nullopt;
    const auto found = std::find_if(
        m_names.begin(), m_names.end(),
        [part = searchable(query)](const QString &name) { return name.contains(part); });
    if (found == m_names.end())
        return std::nullopt;
    return static_cast<int>(found - m_names.begin());
}

} // namespace tavolin
