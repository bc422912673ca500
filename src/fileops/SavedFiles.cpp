#include "fileops/SavedFiles.h"

#include <fcntl.h>

namespace tavolin {

SavedFiles::Identity SavedFiles::identityOf(const struct stat &status)
{
#ifdef __APPLE__
    const timespec time = status.st_mtimespec;
#else
    const timespec time = status.st_mtim;
#endif
    return {status.st_dev, status.st_ino, status.st_size, time.tv_sec, time.tv_nsec};
}

void SavedFiles::add(int folder, const std::string &name)
{
    struct stat status
    {};
    if (fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return;
    const std::lock_guard guard(m_mutex);
    m_files.insert(identityOf(status));
}

bool SavedFiles::contains(int file) const
{
    struct stat status
    {};
    if (fstat(file, &status) != 0)
        return false;
    const std::lock_guard guard(m_mutex);
    return m_files.contains(identityOf(status));
}

} // namespace tavolin
