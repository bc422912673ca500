#pragma once
// How work that waits for a disk says that the disk gets on with it.

#include <functional>

namespace tavolin {

/// Called now and then on the thread that does the work, whenever bytes have been written or the
/// work has come a step further. May be empty.
using Progress = std::function<void()>;

/// Says to @p progress, if somebody listens, that the work gets on.
inline void tell(const Progress &progress)
{
    if (progress)
        progress();
}

} // namespace tavolin
