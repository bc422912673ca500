#include "app/LaunchOptions.h"

#include <string_view>
#include <utility>

namespace tavolin {

LaunchOptions readLaunchOptions(std::span<char *const> arguments)
{
    LaunchOptions options;
    bool isSessionId = false;
    for (const std::string_view argument : arguments) {
        // From a session manager of X11, which starts the program again as it was.
        if (std::exchange(isSessionId, false))
            continue;
        isSessionId = argument == "-session";
        if (isSessionId)
            continue;
        if (argument == "--bench")
            options.isBench = true;
        if (argument == "--crop-demo")
            options.isCropDemo = true;
        if (!options.path && !argument.starts_with("--"))
            options.path = argument;
    }
    return options;
}

} // namespace tavolin
