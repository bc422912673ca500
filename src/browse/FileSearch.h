#pragma once
// Finding a picture by a part of its file name. Pure values.

#include <QString>

#include <filesystem>
#include <optional>
#include <vector>

namespace tavolin {

/// The file names of one list of pictures, made ready once, so that searching again at every key
/// press is quick however long the list.
class FileSearch
{
public:
    explicit FileSearch(const std::vector<std::filesystem::path> &imageList);

    /// The first position in the list whose file name, extension included, contains @p query. Upper
    /// and lower case are the same; nothing else is: a letter with an accent differs from the same
    /// letter without. None for an empty query or when no name contains it.
    [[nodiscard]] std::optional<int> firstMatch(const QString &query) const;

private:
    std::vector<QString> m_names; // as by searchable()
};

} // namespace tavolin
