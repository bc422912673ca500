#pragma once
// What a worker may not do. All of it holds for the whole process and can't be undone.

#include "worker/Protocol.h"

#include <cstdint>

namespace tavolin::worker {

/// Which parts of the wall stand.
struct Wall
{
    std::uint32_t parts = 0; ///< WallPart, as bits.
    int landlock = 0;        ///< Version of Landlock's interface; 0 without it.
};

/// Sees to it that the worker ends with the thread that started it, whatever keeps it busy, and
/// that nothing is open that it was not given. To be called before anything else.
void cutLoose();

/// Puts the limits on memory, processor time and descriptors that @p role has, and the walls of the
/// system: no file or folder, no network, no other process. Where the system lacks a part, the
/// others stand. To be called while there is one thread; what is to be loaded must have been.
[[nodiscard]] Wall closeWall(Role role);

} // namespace tavolin::worker
