#include "worker/client/OpenedFiles.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <optional>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

#ifdef __linux__
#include <sys/sendfile.h>
#endif

namespace tavolin::worker {

namespace {

/// Whether @p url leads to what @p file is, and nobody has written to it since it was opened.
bool isStill(const RegularFile &file, const std::filesystem::path &url)
{
    struct stat opened
    {};
    struct stat there
    {};
    return fstat(file.descriptor.get(), &opened) == 0 && stat(url.c_str(), &there) == 0 &&
           opened.st_dev == there.st_dev && opened.st_ino == there.st_ino &&
           there.st_size == file.size;
}

/// Between two looks at the stop token.
constexpr std::int64_t PIECE_BYTES = std::int64_t{256} << 10;

/// Has the system read the first @p bytes of what @p descriptor is open at, as fast as its disk
/// gives them. How many it has read.
std::int64_t readIntoCache(int descriptor, std::int64_t bytes, const std::stop_token &stop)
{
    std::int64_t done = 0;
#ifdef __linux__
    // readahead(2) returns before the bytes are there, and could not be stopped; nowhere is where
    // they can go without a copy.
    const Descriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    while (done < bytes && !stop.stop_requested()) {
        off_t from = done;
        const auto count = sendfile(nowhere.get(), descriptor, &from,
                                    static_cast<std::size_t>(std::min(PIECE_BYTES, bytes - done)));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        done += count;
    }
#elif defined(F_RDADVISE)
    while (done < bytes && !stop.stop_requested()) {
        const auto count = std::min(PIECE_BYTES, bytes - done);
        radvisory piece{.ra_offset = done, .ra_count = static_cast<int>(count)};
        if (fcntl(descriptor, F_RDADVISE, &piece) != 0)
            break;
        done += count;
    }
#endif
    return done;
}

} // namespace

OpenedFiles::~OpenedFiles()
{
    close(std::move(m_files));
}

void OpenedFiles::close(Files files) noexcept
{
    if (files.empty())
        return;
    try {
        std::thread([held = std::move(files)]() mutable { held.clear(); }).detach();
    } catch (const std::exception &) { // no more threads to be had: they have been closed here
    }
}

std::shared_ptr<const RegularFile> OpenedFiles::open(const std::filesystem::path &url)
{
    std::shared_ptr<const RegularFile> kept;
    {
        std::unique_lock lock(m_mutex);
        Files others = takeOtherFolders(url);
        const auto found = std::ranges::find(m_files, url, &Kept::url);
        if (found != m_files.end())
            kept = found->file;
        lock.unlock();
        close(std::move(others));
    }
    // Without the lock: the disk may not answer.
    if (kept && isStill(*kept, url))
        return kept;
    auto opened = openRegularFile(url);
    return opened ? std::make_shared<const RegularFile>(std::move(*opened)) : nullptr;
}

std::int64_t OpenedFiles::readAhead(const std::filesystem::path &url, std::int64_t most,
                                    const std::stop_token &stop)
{
    const auto file = stop.stop_requested() ? nullptr : open(url);
    // A disk may have taken so long that another folder is open by now.
    if (!file || stop.stop_requested())
        return 0;
    keep(url, file);
    return readIntoCache(file->descriptor.get(), std::min(most, file->size), stop);
}

void OpenedFiles::keep(const std::filesystem::path &url, std::shared_ptr<const RegularFile> file)
{
    std::unique_lock lock(m_mutex);
    Files old = takeOtherFolders(url);
    const auto found = std::ranges::find(m_files, url, &Kept::url);
    if (found != m_files.end()) {
        old.push_back(std::move(*found));
        m_files.erase(found);
    } else if (m_files.size() == MOST) {
        old.push_back(std::move(m_files.front()));
        m_files.pop_front();
    }
    m_files.push_back({url, std::move(file)});
    lock.unlock();
    close(std::move(old));
}

OpenedFiles::Files OpenedFiles::takeOtherFolders(const std::filesystem::path &url)
{
    if (!m_files.empty() && m_files.front().url.parent_path() != url.parent_path())
        return std::exchange(m_files, {});
    return {};
}

} // namespace tavolin::worker
