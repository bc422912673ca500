#pragma once
// Places where files can't be written, and reading and writing whole files.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

#include <unistd.h>

namespace tavolin::test {

/// The whole file; empty when it can't be read.
[[nodiscard]] inline std::string contentOf(const std::filesystem::path &file)
{
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

/// The names of all that is in @p folder.
[[nodiscard]] inline std::set<std::string> namesIn(const std::filesystem::path &folder)
{
    std::set<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(folder))
        names.insert(entry.path().filename());
    return names;
}

/// As long as it lives, permissions count: they don't for root, whom it makes somebody else.
class WithoutRoot
{
public:
    WithoutRoot()
    {
        if (m_user == 0 && seteuid(NOBODY) != 0)
            throw std::runtime_error("root can't become anybody else");
    }
    ~WithoutRoot()
    {
        if (seteuid(m_user) != 0)
            std::abort();
    }
    WithoutRoot(const WithoutRoot &) = delete;
    WithoutRoot &operator=(const WithoutRoot &) = delete;

private:
    static constexpr uid_t NOBODY = 65534;
    uid_t m_user = geteuid();
};

/// Takes the right to write to @p folder from everybody, and gives it back in the end.
class ReadOnly
{
public:
    explicit ReadOnly(std::filesystem::path folder) : m_folder(std::move(folder))
    {
        // Whoever is not the owner must come through to it, too.
        namespace fs = std::filesystem;
        fs::permissions(m_folder.parent_path(), fs::perms(0755));
        fs::permissions(m_folder, fs::perms(0555));
    }
    ~ReadOnly() { std::filesystem::permissions(m_folder, std::filesystem::perms(0755)); }
    ReadOnly(const ReadOnly &) = delete;
    ReadOnly &operator=(const ReadOnly &) = delete;

private:
    std::filesystem::path m_folder;
};

} // namespace tavolin::test
