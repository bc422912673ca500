#pragma once
// Which key was pressed, by its place on the keyboard and not by what the layout writes there, so
// that every command works under any input source.

#include <cstdint>
#include <optional>

class QKeyEvent;

namespace tavolin {

/// The keys that commands use, named as on the US layout; the values are the virtual key codes of
/// macOS.
enum class KeyCode : std::uint16_t {
    A = 0,
    S = 1,
    D = 2,
    F = 3,
    H = 4,
    Z = 6,
    X = 7,
    Q = 12,
    T = 17,
    Digit1 = 18,
    Digit2 = 19,
    Digit3 = 20,
    Digit4 = 21,
    Digit6 = 22,
    Digit5 = 23,
    RightBracket = 30,
    O = 31,
    LeftBracket = 33,
    Return = 36,
    J = 38,
    Space = 49,
    Delete = 51, ///< Backspace on other keyboards.
    Escape = 53,
    KeypadEnter = 76,
    Left = 123,
    Right = 124,
    Down = 125,
    Up = 126,
};

/// The key of @p event: the one at the reported position, or the one that the symbol names when
/// the event carries no position (synthetic events) or keyCodeAt says so. Empty for other keys,
/// those among them that give arrows on a keypad. Modifiers are ignored, and layout switches are no
/// keys.
[[nodiscard]] std::optional<KeyCode> keyCode(const QKeyEvent &event);

/// Whether @p event changes what other keys write, for as long as it is held or for good. With some
/// settings that is what Space does while another key is held, or Shift while Alt is; where the
/// desktop doesn't keep such a press for itself, it comes to us too.
[[nodiscard]] bool isLayoutSwitch(const QKeyEvent &event);

/// The key at @p position (empty: no command's key) with the symbol @p qtKey. It is the position,
/// unless the two disagree in kind: a character typed where Escape, Space, an arrow, Return or
/// Delete is, or one of these typed elsewhere. Then it is the symbol, because remote keyboards may
/// number keys as they like: an A at the place of Escape is an A, and doesn't quit. Nor does Caps
/// Lock there, where the user has exchanged the two.
[[nodiscard]] std::optional<KeyCode> keyCodeAt(std::optional<KeyCode> position, int qtKey);

/// The key with the code @p code of Linux's input subsystem (linux/input-event-codes.h), which is 8
/// below the scan codes of X11 and Wayland. Empty for other keys.
[[nodiscard]] std::optional<KeyCode> keyCodeFromEvdev(std::uint32_t code);

/// The key with macOS's virtual key code @p code. Empty for other keys.
[[nodiscard]] std::optional<KeyCode> keyCodeFromMac(std::uint32_t code);

/// The key that writes the symbol @p qtKey (a Qt::Key) on the US layout. Empty for other keys.
[[nodiscard]] std::optional<KeyCode> keyCodeFromSymbol(int qtKey);

} // namespace tavolin
