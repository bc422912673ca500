#pragma once
// Which files this run of the program has saved. From any thread.

#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <tuple>

#include <sys/stat.h>

namespace tavolin {

/// Knows the files by what the file system knows them by, and when they were written: one that
/// somebody else has written to or put in the place of one is none of them any more.
class SavedFiles
{
public:
    /// Takes note of the file @p name in the open @p folder, which has just been written.
    void add(int folder, const std::string &name);
    /// Whether the open @p file is one of them.
    [[nodiscard]] bool contains(int file) const;

private:
    /// Disk, number there, length and time of writing.
    using Identity =
        std::tuple<std::uint64_t, std::uint64_t, std::int64_t, std::int64_t, std::int64_t>;

    static Identity identityOf(const struct stat &status);

    mutable std::mutex m_mutex;
    std::set<Identity> m_files;
};

} // namespace tavolin
