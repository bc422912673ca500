#include "platform/Permissions.h"

#include <QtGlobal>

#include <cerrno>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#ifdef Q_OS_LINUX
#include <linux/limits.h>
#include <sys/xattr.h>
#endif

namespace tavolin {

namespace {

/// Gives @p file the list of access that @p source has, or none either. False where that fails.
bool copyAccessList([[maybe_unused]] const std::filesystem::path &source, [[maybe_unused]] int file)
{
#ifdef Q_OS_LINUX
    constexpr const char *LIST = "system.posix_acl_access";
    const auto hasNone = [] { return errno == ENODATA || errno == ENOTSUP; };
    std::vector<char> list(XATTR_SIZE_MAX);
    const ssize_t size = getxattr(source.c_str(), LIST, list.data(), list.size());
    if (size >= 0)
        return fsetxattr(file, LIST, list.data(), static_cast<std::size_t>(size), 0) == 0;
    // It may have one from its folder.
    return hasNone() && (fremovexattr(file, LIST) == 0 || hasNone());
#else
    return true;
#endif
}

} // namespace

void copyPermissions(const std::filesystem::path &source, int file)
{
    struct stat status
    {};
    if (stat(source.c_str(), &status) != 0)
        return;
    struct stat own
    {};
    const bool isGroupGiven = fchown(file, static_cast<uid_t>(-1), status.st_gid) == 0 ||
                              (fstat(file, &own) == 0 && own.st_gid == status.st_gid);
    constexpr mode_t PERMISSIONS = 0777;
    constexpr mode_t GROUP = 0070;
    constexpr mode_t EVERYBODY = 0007;
    mode_t mode = status.st_mode & PERMISSIONS;
    // The list says what its own group may.
    if (!isGroupGiven || !copyAccessList(source, file))
        mode &= ~GROUP | (mode & EVERYBODY) << 3;
    // Some file systems have no permissions to set.
    if (fchmod(file, mode) != 0)
        errno = 0;
}

} // namespace tavolin
