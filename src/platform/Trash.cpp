#include "platform/Trash.h"

#include <QtGlobal>

#ifdef Q_OS_MACOS
#include <QFile>
#else
#include "platform/Folder.h"
#include "platform/Gio.h"

#include <array>
#include <climits>
#include <optional>
#include <string>
#include <string_view>

#include <sys/statvfs.h>
#endif

using namespace Qt::StringLiterals;

namespace tavolin {

#ifdef Q_OS_MACOS

Failure moveToTrash(const std::filesystem::path &file)
{
    QFile moved(QFile::decodeName(file.c_str()));
    return moved.moveToTrash() ? Failure() : moved.errorString();
}

#else

namespace {

namespace fs = std::filesystem;

/// What the Trash knows of a file lies beside it, under its name with this behind (FreeDesktop.org
/// Trash 1.0).
constexpr std::string_view INFO_EXTENSION = ".trashinfo";
/// What GIO writes of it first has as many characters more.
constexpr std::size_t INFO_SUFFIX_BYTES = 7;

/// Where a file is, whatever its name has become.
class Whereabouts
{
public:
    explicit Whereabouts(const fs::path &file)
        : m_descriptor(open(file.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC))
    {}

    /// Nothing where the system can't tell.
    [[nodiscard]] std::optional<fs::path> path() const
    {
        std::error_code error;
        const auto path =
            fs::read_symlink("/proc/self/fd/" + std::to_string(m_descriptor.get()), error);
        struct stat opened
        {};
        struct stat there
        {};
        // The name may be followed by a remark.
        const bool isThere = !error && fstat(m_descriptor.get(), &opened) == 0 &&
                             lstat(path.c_str(), &there) == 0 && isSameFile(opened, there);
        return isThere ? std::optional(path) : std::nullopt;
    }

private:
    Descriptor m_descriptor;
};

fs::path infoFile(const fs::path &trashed)
{
    fs::path name = trashed.filename();
    name += INFO_EXTENSION;
    return trashed.parent_path().parent_path() / "info" / name;
}

/// Whether the Trash knows where the file belongs that is now at @p trashed.
bool canBeRestored(const fs::path &trashed)
{
    const Descriptor info(open(infoFile(trashed).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    std::array<char, PATH_MAX> text{};
    const ssize_t size = read(info.get(), text.data(), text.size());
    return size > 0 &&
           std::string_view(text.data(), static_cast<std::size_t>(size)).find("\nPath=") !=
               std::string_view::npos;
}

/// Moves what is @p trashed back to @p place, unless there is something again.
bool putBack(const fs::path &trashed, const fs::path &place)
{
    if (!renameToFreeName(AT_FDCWD, trashed, place))
        return false;
    unlink(infoFile(trashed).c_str());
    return true;
}

/// Why there can be no Trash for files in @p folder.
Failure whyNoTrash(const fs::path &folder)
{
    struct statvfs disk
    {};
    const bool isKnown = statvfs(folder.c_str(), &disk) == 0;
    if (isKnown && (disk.f_flag & ST_RDONLY) != 0)
        return failureOf(std::make_error_code(std::errc::read_only_file_system));
    // Some file systems don't count their blocks.
    if (isKnown && disk.f_blocks > 0 && disk.f_bavail == 0)
        return failureOf(std::make_error_code(std::errc::no_space_on_device));
    return u"ดิสก์นี้ไม่มีถังขยะ"_s;
}

/// What GIO says of @p error, which is freed, at a file in @p folder.
Failure takeTrashFailure(GError *error, const fs::path &folder)
{
    const bool isTrashMissing = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_NOT_SUPPORTED);
    Failure failure = takeFailure(error);
    return isTrashMissing ? whyNoTrash(folder) : failure;
}

/// How many bytes a name in @p folder may have.
std::size_t longestName(const fs::path &folder)
{
    const long longest = pathconf(folder.c_str(), _PC_NAME_MAX);
    return longest > 0 ? static_cast<std::size_t>(longest) : NAME_MAX;
}

} // namespace

// Not QFile::moveToTrash: where ~/.local/share is missing it moves files into the current folder.
Failure moveToTrash(const fs::path &file)
{
    std::error_code error;
    const fs::path place = fs::canonical(file.parent_path(), error) / file.filename();
    const GioFile moved = error ? nullptr : gioFile(file, error);
    if (!moved)
        return failureOf(error);
    // GIO would move it all the same, and remember nothing.
    if (file.filename().native().size() + INFO_EXTENSION.size() + INFO_SUFFIX_BYTES >
        longestName(place.parent_path()))
        return failureOf(std::make_error_code(std::errc::filename_too_long));
    const Whereabouts whereabouts(place);
    GError *failure = nullptr;
    if (!g_file_trash(moved.get(), nullptr, &failure))
        return takeTrashFailure(failure, place.parent_path());
    // GIO says nothing when it could not write it down, as on a full disk.
    const auto trashed = whereabouts.path();
    if (!trashed || trashed->parent_path().filename() != "files" || canBeRestored(*trashed))
        return {};
    return putBack(*trashed, place) ? u"ถังขยะจดที่เดิมของไฟล์ไม่ได้"_s : u"ไฟล์อยู่ในถังขยะ แต่กู้คืนเองไม่ได้"_s;
}

#endif

} // namespace tavolin
