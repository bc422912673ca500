#pragma once
// A folder for the files of one test.

#include <QByteArray>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

namespace tavolin::test {

/// An empty folder that is removed with all that is in it. Unlike QTemporaryDir it reaches names
/// that are not UTF-8.
class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        std::string pattern = std::filesystem::temp_directory_path() / "tavolin-test-XXXXXX";
        if (!mkdtemp(pattern.data()))
            throw std::runtime_error("no temporary folder can be made");
        m_path = pattern;
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    [[nodiscard]] const std::filesystem::path &path() const { return m_path; }

    /// The path of @p name in the folder; the name's bytes unchanged.
    [[nodiscard]] std::filesystem::path operator/(const std::string &name) const
    {
        return m_path / name;
    }

    /// Writes a file and returns its path.
    std::filesystem::path write(const std::string &name, const QByteArray &content = {}) const
    {
        const auto file = m_path / name;
        std::ofstream out(file, std::ios::binary);
        out.write(content.constData(), content.size());
        out.close();
        if (!out)
            throw std::runtime_error("cannot write " + file.string());
        return file;
    }

private:
    std::filesystem::path m_path;
};

} // namespace tavolin::test
