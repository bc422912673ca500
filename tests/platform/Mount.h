#pragma once
// File systems of a test's own.

#include <filesystem>
#include <string>

namespace tavolin::test {

/// A file system that only this process sees, from construction to destruction. Needs root.
class Mount
{
public:
    /// An empty file system in memory of @p bytes, at the folder @p place.
    static Mount memory(const std::filesystem::path &place, std::size_t bytes);

    /// The file system (ext4) in the file @p image, at the folder @p place.
    static Mount image(const std::filesystem::path &image, const std::filesystem::path &place);

    ~Mount();
    Mount(const Mount &) = delete;
    Mount &operator=(const Mount &) = delete;

    /// Why there is none: the reason to skip a test. Empty when there is one.
    [[nodiscard]] const std::string &error() const { return m_error; }

private:
    Mount(const std::string &command, const std::filesystem::path &place);

    std::filesystem::path m_place;
    std::string m_error;
};

} // namespace tavolin::test
