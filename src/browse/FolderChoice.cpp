#include "browse/FolderChoice.h"

#include "browse/InfoLine.h"
#include "browse/PlainText.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace tavolin {

namespace {

/// @p path without ".", ".." and a slash at the end.
std::filesystem::path normalized(const std::filesystem::path &path)
{
    const auto normal = path.lexically_normal();
    return normal.has_filename() ? normal : normal.parent_path();
}

/// Whether @p text is @p start, or a path that begins with it.
bool beginsWith(const QString &text, const QString &start)
{
    return text.startsWith(start) && (text.size() == start.size() || text[start.size()] == u'/');
}

/// @p folder and, in place of its text @p start, the rest of @p text.
std::filesystem::path continued(const std::filesystem::path &folder, const QString &start,
                                const QString &text)
{
    return normalized(folder.native() + text.mid(start.size()).toStdString());
}

} // namespace

QString pathText(const std::filesystem::path &path)
{
    return plainText(QString::fromStdString(path.native()));
}

std::filesystem::path typedFolder(const QString &text, const std::filesystem::path &shown,
                                  const std::filesystem::path &home)
{
    if (beginsWith(text, u"~"_s))
        return continued(home, u"~"_s, text);
    if (!text.startsWith(u'/'))
        return normalized(shown / text.toStdString());
    for (auto folder = shown; folder.has_relative_path(); folder = folder.parent_path()) {
        if (const QString start = pathText(folder); beginsWith(text, start))
            return continued(folder, start, text);
    }
    return normalized(text.toStdString());
}

std::vector<Place> placesOf(const std::filesystem::path &home,
                            const std::optional<std::filesystem::path> &pictures,
                            const std::vector<std::filesystem::path> &media)
{
    std::vector<Place> places;
    const auto add = [&places](const QString &name, const std::filesystem::path &folder) {
        if (std::ranges::find(places, folder, &Place::folder) == places.end())
            places.push_back({name, folder});
    };
    add(u"บ้าน"_s, home);
    if (pictures)
        add(u"รูปภาพ"_s, *pictures);
    for (const auto &folder : media)
        add(displayName(folder), folder);
    return places;
}

} // namespace tavolin
