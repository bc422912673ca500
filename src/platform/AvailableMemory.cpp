#include "platform/AvailableMemory.h"

#include <fstream>
#include <string>

namespace tavolin {

std::int64_t availableMemory()
{
    std::ifstream file("/proc/meminfo");
    for (std::string word; file >> word;) {
        std::int64_t kibibytes = 0;
        if (word == "MemAvailable:" && file >> kibibytes)
            return kibibytes << 10;
    }
    return 0;
}

} // namespace tavolin
