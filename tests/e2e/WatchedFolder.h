#pragma once
// A folder that is on a slow disk, or on one that no longer answers, as far as the viewer can tell;
// and what the viewer did there.

#include <QProcessEnvironment>
#include <QTemporaryDir>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace tavolin {

/// A call of the system that the viewer began.
struct FolderCall
{
    bool isOnMainThread = false;
    std::string name; ///< As "open", "stat" or "read": see FolderCalls.cpp.
    std::filesystem::path path;
};

/// Watches what a viewer does below a folder. What its workers do with files that it has opened is
/// not seen, nor are this program's own calls.
class WatchedFolder
{
public:
    /// @p folder is an absolute path without symbolic links.
    explicit WatchedFolder(std::filesystem::path folder);

    /// What a viewer has to be started with.
    [[nodiscard]] QProcessEnvironment environment() const;

    /// Makes each call that begins from now on take @p time longer.
    void delay(std::chrono::milliseconds time) const;
    /// Makes calls that begin from now on hang until release(): those called @p names, those on
    /// files that are, or all.
    void hang(const std::vector<std::string> &names = {}) const;
    /// Lets all calls go on.
    void release() const;

    /// What was begun so far, in that order.
    [[nodiscard]] std::vector<FolderCall> calls() const;
    /// The calls on the main thread, one a line; empty if there are none.
    [[nodiscard]] std::string callsOnMainThread() const;
    /// Forgets the calls so far.
    void forgetCalls() const;
    /// Waits until a call that hangs has begun since hang().
    [[nodiscard]] bool waitUntilStuck() const;

private:
    [[nodiscard]] std::filesystem::path control(const char *name) const;

    std::filesystem::path m_folder;
    QTemporaryDir m_control;
    mutable std::vector<std::string> m_hanging;
    mutable std::size_t m_callsBefore = 0; // hang() was called
};

} // namespace tavolin
