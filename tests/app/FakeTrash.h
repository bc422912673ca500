#pragma once
// A Trash as slow as the test wants it to be.

#include "fileops/FileWork.h"

#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tavolin::test {

/// Moves files to a folder. Its functions may be called while a move is under way.
class FakeTrash
{
public:
    /// @p folder is made if it is missing.
    explicit FakeTrash(std::filesystem::path folder);

    /// What a viewer takes; the fake must outlive that viewer.
    [[nodiscard]] FileWork::Trash trash();

    /// Makes every move wait from now on, until the gate is opened.
    void closeGate();
    void openGate();

    /// Makes every move fail from now on, for @p reason.
    void failWith(const QString &reason);

    /// The names of the files that were to be moved, in the order of the moves' beginning.
    [[nodiscard]] std::vector<std::string> asked() const;

    /// The names of the files that are here, in their order.
    [[nodiscard]] std::vector<std::string> files() const;

private:
    Failure move(const std::filesystem::path &file);

    std::filesystem::path m_folder;
    mutable std::mutex m_mutex; // guards what follows
    std::condition_variable m_changed;
    bool m_isGateClosed = false;
    Failure m_failure;
    std::vector<std::string> m_asked;
};

} // namespace tavolin::test
