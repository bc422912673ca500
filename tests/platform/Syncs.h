#pragma once
// What this program has the disk take. Its fsync() is a recording one.

#include <filesystem>
#include <functional>
#include <vector>

namespace tavolin::test {

/// A call of fsync(): of what, and what the moment shows.
struct Sync
{
    std::filesystem::path path;
    bool isPlaced; ///< Whether the file that is looked for was there.
};

/// The calls of fsync() of this process while it lives, one at a time.
class Syncs
{
public:
    /// Notes with each call whether @p file is there.
    explicit Syncs(std::filesystem::path file);
    ~Syncs();
    Syncs(const Syncs &) = delete;
    Syncs &operator=(const Syncs &) = delete;

    /// Whether @p folder was taken when the file was there.
    [[nodiscard]] bool hasPlaced(const std::filesystem::path &folder) const;
    /// Whether @p path was taken at all.
    [[nodiscard]] bool has(const std::filesystem::path &path) const;

    void add(std::filesystem::path path);

private:
    std::filesystem::path m_file;
    std::vector<Sync> m_syncs;
};

} // namespace tavolin::test
