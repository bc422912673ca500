#pragma once
// What the command line asks for.

#include <filesystem>
#include <optional>
#include <span>

namespace tavolin {

/// One start of the program.
struct LaunchOptions
{
    std::optional<std::filesystem::path> path; ///< The folder or picture to open, if one was given.
    bool isBench = false;                      ///< "--bench": a self-test run, in a window.
    bool isCropDemo = false;                   ///< "--crop-demo": enters crop mode by itself.
};

/// Reads @p arguments (without the program's name): the first one that does not begin with two
/// hyphens is the path, its bytes unchanged; other arguments that do are ignored, and so is
/// "-session" with the one after it.
[[nodiscard]] LaunchOptions readLaunchOptions(std::span<char *const> arguments);

} // namespace tavolin
