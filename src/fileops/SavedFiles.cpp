#include "fileops/SavedFiles.h"

#include <QtGlobal>

#include <fcntl.h>
#include <sys/stat.h>

namespace tavolin {

namespace {

FileIdentity identityFrom(const struct stat &status)
{
#ifdef Q_OS_MACOS
    const timespec time = status.st_mtimespec;
#else
    const timespec time = status.st_mtim;
#endif
    return {status.st_dev, status.st_ino, status.st_size, time.tv_sec, time.tv_nsec};
}

} // namespace

std::optional<FileIdentity> identityOf(int file)
{
    struct stat status
    {};
    return fstat(file, &status) == 0 ? std::optional(identityFrom(status)) : std::nullopt;
}

std::optional<FileIdentity> identityIn(int folder, const std::string &name)
{
    struct stat status
    {};
    return fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0
               ? std::optional(identityFrom(status))
               : std::nullopt;
}

void SavedFiles::add(const FileIdentity &file)
{
    const std::lock_guard guard(m_mutex);
    m_files.insert(file);
}

bool SavedFiles::contains(const FileIdentity &file) const
{
    const std::lock_guard guard(m_mutex);
    return m_files.contains(file);
}

} // namespace tavolin
