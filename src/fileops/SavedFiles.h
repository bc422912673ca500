#pragma once
// Which files this run of the program has saved. From any thread.

#include <cstdint>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <tuple>

namespace tavolin {

/// What the file system knows a file by, and when it was written: disk, number there, length and
/// time of writing. A file that somebody else has written to, or put in the place of one, has
/// another.
using FileIdentity =
    std::tuple<std::uint64_t, std::uint64_t, std::int64_t, std::int64_t, std::int64_t>;

/// That of the open @p file; nothing where the system can't tell.
[[nodiscard]] std::optional<FileIdentity> identityOf(int file);

/// That of what is called @p name in the open @p folder, if only a link; nothing where there is
/// nothing.
[[nodiscard]] std::optional<FileIdentity> identityIn(int folder, const std::string &name);

/// Knows the files that were saved as they were then.
class SavedFiles
{
public:
    /// Takes note of a file that has just been written.
    void add(const FileIdentity &file);
    /// Whether that is one of them, as it was written.
    [[nodiscard]] bool contains(const FileIdentity &file) const;

private:
    mutable std::mutex m_mutex;
    std::set<FileIdentity> m_files;
};

} // namespace tavolin
