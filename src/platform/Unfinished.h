#pragma once
// The names of files that are being written, and what becomes of those that nobody is writing any
// more. Any thread.

#include <chrono>
#include <string>
#include <string_view>

namespace tavolin {

/// What an unfinished file's name says of where it is written. Neither text is anybody's business:
/// both are digests.
struct WritingPlace
{
    /// Of the machine; its copies may have the same.
    std::string machine;
    /// Of its run since it was switched on, and of its numbering of processes: a container has its
    /// own. No two machines have the same.
    std::string run;
    /// When that run began.
    std::chrono::system_clock::time_point begin;
};

/// Where this process is.
[[nodiscard]] WritingPlace writingPlace();

/// A hidden name, without an extension, for a file that this process writes; no other writer takes
/// it, on whatever machine. It begins with ".tavolin-".
[[nodiscard]] std::string unfinishedName();

/// Whether the file @p name, last changed at @p change, is an unfinished one that nobody is writing
/// any more, as seen at @p here. Of one from the same run, its process has gone. One from another
/// run of the same machine has not been touched since this one began: it could also be written in
/// another container, or on a copy of the machine. One from any other machine is never left behind.
[[nodiscard]] bool isLeftBehind(std::string_view name, std::chrono::system_clock::time_point change,
                                const WritingPlace &here);

/// Clears away what unfinished files have been left behind in the open @p folder.
void removeLeftovers(int folder);

} // namespace tavolin
