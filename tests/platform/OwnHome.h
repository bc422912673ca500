#pragma once
// A home folder that is the test's: nobody's own Trash is touched.

#include "logic/TemporaryFolder.h"

#include <cstdlib>
#include <filesystem>

namespace tavolin::test {

/// Made first in a program, as GLib asks for these folders once. On the file system of
/// TemporaryFolder, so that what is thrown away from there gets into the home folder's Trash. Lets
/// any user in.
class OwnHome
{
public:
    OwnHome()
    {
        namespace fs = std::filesystem;
        fs::create_directory(m_folder / "data");
        for (const auto &folder : {m_folder.path(), m_folder / "data"})
            fs::permissions(folder, fs::perms::all);
        setenv("HOME", m_folder.path().c_str(), 1);
        setenv("XDG_DATA_HOME", (m_folder / "data").c_str(), 1);
    }

    /// The Trash of the program that has made itself a home.
    [[nodiscard]] static std::filesystem::path trash()
    {
        return std::filesystem::path(std::getenv("XDG_DATA_HOME")) / "Trash";
    }

private:
    TemporaryFolder m_folder;
};

} // namespace tavolin::test
