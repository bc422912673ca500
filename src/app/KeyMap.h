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

/// The commands of crop mode.
enum class CropCommand : std::uint8_t {
    FreeRatio,
    OriginalRatio,
    SquareRatio,
    FourByThreeRatio,
    SixteenByNineRatio,
    CustomRatio,
    Flip,
    TurnLeft, ///< By a small step, or with Shift by a coarse one.
    TurnRight,
    Nudge, ///< Moves the box in the direction of the arrow key, or with Shift resizes it.
    Apply,
    ToggleHelp,
    Leave, ///< Closes the help page, or crop mode where none is shown.
};

/// The command of @p key; none for a key that has none. Shift, Alt and Control don't matter here.
[[nodiscard]] std::optional<Command> commandForKey(KeyCode key);

/// The same in crop mode.
[[nodiscard]] std::optional<CropCommand> cropCommandForKey(KeyCode key);

} // namespace tavolin
