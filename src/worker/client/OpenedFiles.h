#pragma once
// Files that have been read ahead, kept open: some file systems forget what they have read of a
// file when it is opened anew.

#include "platform/RegularFile.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <stop_token>

namespace tavolin::worker {

/// The newest files of one folder. Any thread.
class OpenedFiles
{
public:
    OpenedFiles() = default;
    ~OpenedFiles();
    OpenedFiles(const OpenedFiles &) = delete;
    OpenedFiles &operator=(const OpenedFiles &) = delete;

    /// The file at @p url: one that is kept, if it is still that file as it was, or opened. Null
    /// when it can't be opened. Those of another folder are closed.
    [[nodiscard]] std::shared_ptr<const RegularFile> open(const std::filesystem::path &url);
    /// Has the system read up to @p most bytes of the file at @p url into its memory, until @p stop
    /// is requested, and keeps it open. How many were read, none of them into this process.
    std::int64_t readAhead(const std::filesystem::path &url, std::int64_t most,
                           const std::stop_token &stop);

private:
    /// As many files of 8 MB as may be read ahead.
    static constexpr std::size_t MOST = 64;

    struct Kept
    {
        std::filesystem::path url;
        std::shared_ptr<const RegularFile> file;
    };

    using Files = std::deque<Kept>; // oldest first

    /// Closes @p files without waiting for their disk.
    static void close(Files files) noexcept;
    void keep(const std::filesystem::path &url, std::shared_ptr<const RegularFile> file);
    /// Takes out those of other folders than that of @p url. With the lock held.
    [[nodiscard]] Files takeOtherFolders(const std::filesystem::path &url);

    std::mutex m_mutex;
    Files m_files;
};

} // namespace tavolin::worker
