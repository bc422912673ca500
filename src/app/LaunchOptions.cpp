#include "app/LaunchOptions.h"

#include <string_view>

namespace tavolin {

LaunchOptions readLaunchOptions(std::span<char *const> arguments)
{
    LaunchOptions options;
    for (const std::string_view argument : arguments) {
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
