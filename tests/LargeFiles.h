#pragma once
// Files as large as a card takes, and how much of them is read.

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

namespace tavolin::test {

/// Bytes that this process has read so far; empty where the system doesn't tell.
inline std::optional<std::int64_t> bytesReadSoFar()
{
    std::ifstream counters("/proc/self/io");
    std::string name;
    std::int64_t value = 0;
    if (counters >> name >> value && name == "rchar:")
        return value;
    return std::nullopt;
}

/// Makes @p padded, in the place of what is there, a copy of @p file of @p megabytes. What it has
/// behind the file's end is a hole, which takes no space on the disk.
inline void copyPadded(const std::filesystem::path &file, const std::filesystem::path &padded,
                       std::uintmax_t megabytes)
{
    std::filesystem::remove(padded);
    std::filesystem::copy_file(file, padded);
    std::filesystem::permissions(padded, std::filesystem::perms::owner_all);
    std::filesystem::resize_file(padded, megabytes << 20);
}

} // namespace tavolin::test
