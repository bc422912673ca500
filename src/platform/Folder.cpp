#include "platform/Folder.h"

#include "platform/Failure.h"

#include <cstdio>
#include <optional>
#include <utility>

namespace tavolin {

namespace {

constexpr int FOLDER = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
#ifdef O_PATH
/// For a look at a folder that may not be listed.
constexpr int PLACE = O_PATH | O_DIRECTORY | O_CLOEXEC;
#else
constexpr int PLACE = FOLDER;
#endif

std::optional<struct stat> statusOf(const std::filesystem::path &path)
{
    struct stat status
    {};
    return stat(path.c_str(), &status) == 0 ? std::optional(status) : std::nullopt;
}

/// Opens @p path, as seen from @p folder. One that may not be listed can still be written to.
Descriptor openFolderAt(int folder, const char *path)
{
    Descriptor opened(openat(folder, path, FOLDER));
    if (opened.get() < 0 && errno == EACCES)
        opened = Descriptor(openat(folder, path, PLACE));
    return opened;
}

bool isThat(int folder, const struct stat &status)
{
    struct stat opened
    {};
    return fstat(folder, &opened) == 0 && isSameFile(opened, status);
}

} // namespace

Descriptor openFolder(const std::filesystem::path &path, std::error_code &error)
{
    Descriptor folder = openFolderAt(AT_FDCWD, path.c_str());
    if (folder.get() < 0 && errno == ENOENT && path.has_relative_path()) {
        const Descriptor above = openFolder(path.parent_path(), error);
        if (above.get() < 0)
            return folder;
        const std::string name = path.filename();
        constexpr mode_t MODE = 0777; // less what the user's mask takes away
        const bool isMade = mkdirat(above.get(), name.c_str(), MODE) == 0;
        if (isMade ? flushFolder(above.get()) : errno == EEXIST)
            folder = openFolderAt(above.get(), name.c_str());
    }
    error = folder.get() < 0 ? lastError() : std::error_code();
    return folder;
}

bool isFolderAt(int folder, const std::filesystem::path &path)
{
    const auto status = statusOf(path);
    return status && isThat(folder, *status);
}

bool isWithin(int folder, const std::filesystem::path &path)
{
    const auto outer = statusOf(path);
    if (!outer)
        return false;
    Descriptor inner(openat(folder, ".", PLACE));
    while (!isThat(inner.get(), *outer)) {
        Descriptor above(openat(inner.get(), "..", PLACE));
        struct stat status
        {};
        const bool isAbove = fstat(above.get(), &status) == 0 && !isThat(inner.get(), status);
        if (!isAbove)
            return false; // the root
        inner = std::move(above);
    }
    return true;
}

bool hasName(int folder, const std::string &name)
{
    struct stat status
    {};
    return fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 || errno != ENOENT;
}

bool renameToFreeName(int folder, const std::string &from, const std::string &to)
{
#ifdef RENAME_NOREPLACE
    if (renameat2(folder, from.c_str(), folder, to.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return false;
#elif defined(RENAME_EXCL)
    if (renameatx_np(folder, from.c_str(), folder, to.c_str(), RENAME_EXCL) == 0)
        return true;
    if (errno != ENOTSUP)
        return false;
#endif
    // The file system can't do both at once.
    if (hasName(folder, to)) {
        errno = EEXIST;
        return false;
    }
    return renameat(folder, from.c_str(), folder, to.c_str()) == 0;
}

Descriptor openRegularFileIn(int folder, const std::string &name)
{
    Descriptor file(
        openat(folder, name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW));
    struct stat status
    {};
    const bool isRegular = fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode);
    return isRegular ? std::move(file) : Descriptor(-1);
}

} // namespace tavolin
