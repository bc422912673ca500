#include "platform/FileCopy.h"

#include "platform/Folder.h"
#include "platform/NewFile.h"
#include "platform/RegularFile.h"

#include <QtGlobal>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#ifdef Q_OS_MACOS
#include <copyfile.h>
#else
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/sendfile.h>
#include <sys/xattr.h>
#endif

using namespace Qt::StringLiterals;

namespace tavolin {

namespace fs = std::filesystem;

namespace {

/// Whether what is called @p name in the open @p folder is needed to reach the content of @p file:
/// it is the file itself, or a file or link that the symbolic link @p file leads to. A hard link is
/// not.
bool leadsThrough(fs::path file, int folder, const fs::path &name)
{
    constexpr int MAX_LINKS = 40; // as many as Linux follows
    for (int links = 0; links <= MAX_LINKS; ++links) {
        if (file.filename() == name && isFolderAt(folder, file.parent_path()))
            return true;
        std::error_code error;
        const fs::path target = fs::read_symlink(file, error);
        if (error)
            return false;
        file = file.parent_path() / target;
    }
    return false;
}

struct stat statusOf(int file)
{
    struct stat status
    {};
    fstat(file, &status);
    return status;
}

/// The times of last access, modification and change.
std::array<timespec, 3> timesOf(const struct stat &status)
{
#ifdef Q_OS_MACOS
    return {status.st_atimespec, status.st_mtimespec, status.st_ctimespec};
#else
    return {status.st_atim, status.st_mtim, status.st_ctim};
#endif
}

/// Whether a file that was as @p before has not been written to when it is as @p after. Whoever
/// sets the time of modification back can't do so with that of the change.
bool isUnchanged(const struct stat &before, const struct stat &after)
{
    const auto isSame = [](const timespec &a, const timespec &b) {
        return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
    };
    const auto earlier = timesOf(before);
    const auto later = timesOf(after);
    return before.st_size == after.st_size && isSame(earlier[1], later[1]) &&
           isSame(earlier[2], later[2]);
}

/// Copies what @p from has to @p to, which is empty: @p bytes, where that is not more by now, as
/// what grows could be followed for ever. errno says why not.
bool copyContent(int from, int to, [[maybe_unused]] off_t bytes, const Progress &progress)
{
#ifdef Q_OS_MACOS
    const bool isCopied = fcopyfile(from, to, nullptr, COPYFILE_DATA) == 0;
    tell(progress);
    return isCopied;
#else
    if (ioctl(to, FICLONE, from) == 0) {
        tell(progress);
        return true;
    }
    const auto copyWith = [&](auto copySome) {
        constexpr off_t PIECE = 4 << 20; // bytes that a slow disk takes within a second or two
        while (bytes > 0) {
            const ssize_t count = copySome(static_cast<std::size_t>(std::min(bytes, PIECE)));
            if (count < 0 && errno == EINTR)
                continue;
            if (count <= 0)
                return count == 0;
            bytes -= count;
            tell(progress);
        }
        return true;
    };
    // The first does not work everywhere, and may say that it is done; the second goes on where
    // that has stopped.
    return (copyWith([&](std::size_t some) {
                return copy_file_range(from, nullptr, to, nullptr, some, 0);
            }) &&
            bytes <= 0) ||
           copyWith([&](std::size_t some) { return sendfile(to, from, nullptr, some); });
#endif
}

/// Gives @p to what @p from has beside its content, as far as the file system of @p to knows it and
/// the user may; @p status is that of @p from.
void copyAttributes(int from, int to, const struct stat &status)
{
    if (fchown(to, status.st_uid, status.st_gid) != 0 &&
        fchown(to, static_cast<uid_t>(-1), status.st_gid) != 0)
        errno = 0; // it is the user's own, then
#ifdef Q_OS_MACOS
    fcopyfile(from, to, nullptr, COPYFILE_METADATA);
#else
    // Before the permissions: a file that is read-only takes none any more.
    std::vector<char> names(XATTR_LIST_MAX);
    const auto namesSize = std::max<ssize_t>(0, flistxattr(from, names.data(), names.size()));
    std::string_view left(names.data(), static_cast<std::size_t>(namesSize));
    std::vector<char> value(XATTR_SIZE_MAX);
    while (!left.empty()) {
        const char *name = left.data(); // each ends with a NUL
        const ssize_t size = fgetxattr(from, name, value.data(), value.size());
        if (size >= 0)
            fsetxattr(to, name, value.data(), static_cast<std::size_t>(size), 0);
        left.remove_prefix(left.find('\0') + 1);
    }
#endif
    constexpr mode_t PERMISSIONS = 0777;
    fchmod(to, status.st_mode & PERMISSIONS);
    futimens(to, timesOf(status).data());
}

/// Gives @p copy the @p name in @p folder; an empty folder of that name gives way to it.
std::error_code place(NewFile &copy, int folder, const std::string &name, Earlier earlier)
{
    const std::error_code error = copy.place(name, earlier);
    if (error != std::errc::is_a_directory)
        return error;
    if (unlinkat(folder, name.c_str(), AT_REMOVEDIR) != 0)
        return lastError();
    return copy.place(name, earlier);
}

/// Copies @p source as @p name into the open @p folder; nothing when it has been written to in the
/// meantime.
std::optional<Failure> copyUnlessWritten(const fs::path &source, int folder,
                                         const std::string &name, Earlier earlier,
                                         const Progress &progress)
{
    errno = 0;
    // Others than regular files would be waited for (a pipe) or never end (a device).
    const auto from = openRegularFile(source);
    if (!from)
        return failureOf(errno != 0 ? lastError() : std::make_error_code(std::errc::not_supported));
    const struct stat before = statusOf(from->descriptor.get());
    NewFile copy(folder);
    if (copy.get() < 0 ||
        !copyContent(from->descriptor.get(), copy.get(), before.st_size, progress))
        return failureOf(lastError());
    copyAttributes(from->descriptor.get(), copy.get(), before);
    const auto copiedBytes = statusOf(copy.get()).st_size;
    if (const auto error = copy.complete(progress))
        return failureOf(error);
    if (copiedBytes != before.st_size || !isUnchanged(before, statusOf(from->descriptor.get())))
        return std::nullopt;
    // An earlier copy may be the last there is: it stays until the disk has the new one.
    const auto error = place(copy, folder, name, earlier);
    return error ? failureOf(error) : Failure();
}

/// Whether the file @p name in the open @p folder has the content of @p source.
bool hasContentOf(const fs::path &source, int folder, const std::string &name,
                  const Progress &progress)
{
    const auto here = openRegularFile(source);
    const Descriptor there = openRegularFileIn(folder, name);
    if (!here || there.get() < 0 || statusOf(there.get()).st_size != here->size)
        return false;
    constexpr std::size_t PIECE = 1 << 20;
    std::vector<char> mine(PIECE);
    std::vector<char> theirs(PIECE);
    for (off_t at = 0; at < here->size;) {
        const ssize_t count = pread(here->descriptor.get(), mine.data(), PIECE, at);
        if (count <= 0 || pread(there.get(), theirs.data(), PIECE, at) != count ||
            !std::equal(mine.begin(), mine.begin() + count, theirs.begin()))
            return false;
        at += count;
        tell(progress);
    }
    return true;
}

} // namespace

Failure copyIntoFolder(const fs::path &source, const fs::path &path, const Progress &progress)
{
    std::error_code error;
    const Descriptor folder = openFolder(path, error);
    if (error)
        return failureOf(error);
    const std::string name = source.filename();
    if (leadsThrough(source, folder.get(), name))
        return u"ต้นฉบับกับสำเนาเป็นไฟล์เดียวกัน"_s;
    const bool leadsOut = !isWithin(folder.get(), source.parent_path());
    if (leadsOut && hasName(folder.get(), name))
        return hasContentOf(source, folder.get(), name, progress)
                   ? Failure()
                   : failureOf(std::make_error_code(std::errc::file_exists));
    const Earlier earlier = leadsOut ? Earlier::Kept : Earlier::Replaced;
    constexpr int ATTEMPTS = 3;
    for (int attempt = 0; attempt < ATTEMPTS; ++attempt)
        if (const auto result = copyUnlessWritten(source, folder.get(), name, earlier, progress))
            return *result;
    return u"ต้นฉบับกำลังถูกเขียนอยู่"_s;
}

} // namespace tavolin
