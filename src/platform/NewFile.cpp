#include "platform/NewFile.h"

#include "platform/Failure.h"
#include "platform/Folder.h"
#include "platform/Unfinished.h"

#include <algorithm>

namespace tavolin {

namespace {

/// Bytes that a slow disk, too, takes in a moment: progress is told between them.
constexpr std::size_t MAX_WRITE = 1 << 20;

} // namespace

NewFile::NewFile(int folder, mode_t mode)
    : m_folder(folder), m_unfinished(unfinishedName()), m_descriptor(-1)
{
    removeLeftovers(folder);
    m_descriptor = Descriptor(
        openat(folder, m_unfinished.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
}

NewFile::~NewFile()
{
    if (!m_unfinished.empty())
        unlinkat(m_folder, m_unfinished.c_str(), 0);
}

std::error_code NewFile::write(std::span<const std::byte> content, const Progress &progress)
{
    while (!content.empty()) {
        const ssize_t count = ::write(get(), content.data(), std::min(content.size(), MAX_WRITE));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return count < 0 ? lastError() : std::make_error_code(std::errc::io_error);
        content = content.subspan(static_cast<std::size_t>(count));
        tell(progress);
    }
    return {};
}

std::error_code NewFile::complete(const Progress &progress)
{
    const bool isComplete = flush(get(), progress) && m_descriptor.close();
    return isComplete ? std::error_code() : lastError();
}

std::error_code NewFile::place(const std::string &name, Earlier earlier)
{
    const bool isPlaced = earlier == Earlier::Kept ? renameToFreeName(m_folder, m_unfinished, name)
                                                   : renameat(m_folder, m_unfinished.c_str(),
                                                              m_folder, name.c_str()) == 0;
    if (!isPlaced)
        return lastError();
    m_unfinished.clear();
    return flushFolder(m_folder) ? std::error_code() : lastError();
}

} // namespace tavolin
