#pragma once
// What /proc says of other processes (proc(5)).

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include <sys/types.h>
#include <unistd.h>

namespace tavolin::test {

inline std::filesystem::path folderOf(pid_t process)
{
    return "/proc/" + std::to_string(process);
}

/// What the file @p name says of @p process; empty when that is gone.
inline std::string procFile(pid_t process, const std::string &name)
{
    std::ifstream file(folderOf(process) / name);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The word behind @p field, as "Seccomp:", in the status of @p process.
inline std::string statusOf(pid_t process, const std::string &field)
{
    std::istringstream status(procFile(process, "status"));
    for (std::string word; status >> word;) {
        if (word == field) {
            status >> word;
            return word;
        }
    }
    return {};
}

/// Whether @p process is there and has not ended.
inline bool isRunning(pid_t process)
{
    const std::string state = statusOf(process, "State:");
    return !state.empty() && state != "Z" && state != "X";
}

/// The children of @p process, those that have ended but were not reaped among them.
inline std::vector<pid_t> childrenOf(pid_t process = getpid())
{
    std::vector<pid_t> children;
    std::error_code ignored;
    for (const auto &entry : std::filesystem::directory_iterator("/proc", ignored)) {
        const pid_t pid = std::atoi(entry.path().filename().c_str());
        if (pid > 0 && statusOf(pid, "PPid:") == std::to_string(process))
            children.push_back(pid);
    }
    return children;
}

/// What the descriptors of @p process are open at, by their numbers' order in the folder.
inline std::vector<std::string> openFilesOf(pid_t process = getpid())
{
    std::vector<std::string> files;
    std::error_code ignored;
    for (const auto &entry : std::filesystem::directory_iterator(folderOf(process) / "fd", ignored))
        files.push_back(std::filesystem::read_symlink(entry.path(), ignored));
    return files;
}

} // namespace tavolin::test
