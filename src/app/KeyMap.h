#pragma once
// Which key gives which command. By physical key, so that every keyboard layout works alike.

#include "platform/KeyCodes.h"

#include <cstdint>
#include <optional>

namespace tavolin {

enum class Command : std::uint8_t {
    ToggleFullScreen,
    ToggleHelp,
    OpenFolder,
    OpenSearch,
    CopyToHL,
    DeleteCurrent,
    EnterCrop,
    SaveEdited,
    NextPicture,
    PreviousPicture,
    Leave, ///< Closes the help page, or quits where none is shown.
};

/// The command of @p key; none for a key that has none. Shift, Alt and Control don't matter here.
[[nodiscard]] std::optional<Command> commandForKey(KeyCode key);

} // namespace tavolin
