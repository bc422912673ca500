#include "platform/KeyCodes.h"

#include <QChar>
#include <QKeyEvent>

#include <algorithm>
#include <iterator>

namespace tavolin {

namespace {

struct EvdevRow
{
    std::uint32_t evdev;
    KeyCode key;
};

/// Numbers of linux/input-event-codes.h, written out because macOS has no such header.
constexpr EvdevRow EVDEV_KEYS[] = {
    {1, KeyCode::Escape},
    {2, KeyCode::Digit1},
    {3, KeyCode::Digit2},
    {4, KeyCode::Digit3},
    {5, KeyCode::Digit4},
    {6, KeyCode::Digit5},
    {7, KeyCode::Digit6},
    {14, KeyCode::Delete},
    {16, KeyCode::Q},
    {20, KeyCode::T},
    {24, KeyCode::O},
    {26, KeyCode::LeftBracket},
    {27, KeyCode::RightBracket},
    {28, KeyCode::Return},
    {30, KeyCode::A},
    {31, KeyCode::S},
    {32, KeyCode::D},
    {33, KeyCode::F},
    {35, KeyCode::H},
    {36, KeyCode::J},
    {44, KeyCode::Z},
    {45, KeyCode::X},
    {57, KeyCode::Space},
    {96, KeyCode::KeypadEnter},
    {103, KeyCode::Up},
    {105, KeyCode::Left},
    {106, KeyCode::Right},
    {108, KeyCode::Down},
};

struct SymbolRow
{
    int symbol; // a Qt::Key; an int because an event may hold any number
    KeyCode key;
};

constexpr SymbolRow SYMBOL_KEYS[] = {
    {Qt::Key_A, KeyCode::A},           {Qt::Key_S, KeyCode::S},
    {Qt::Key_D, KeyCode::D},           {Qt::Key_F, KeyCode::F},
    {Qt::Key_H, KeyCode::H},           {Qt::Key_Z, KeyCode::Z},
    {Qt::Key_X, KeyCode::X},           {Qt::Key_Q, KeyCode::Q},
    {Qt::Key_T, KeyCode::T},           {Qt::Key_1, KeyCode::Digit1},
    {Qt::Key_2, KeyCode::Digit2},      {Qt::Key_3, KeyCode::Digit3},
    {Qt::Key_4, KeyCode::Digit4},      {Qt::Key_5, KeyCode::Digit5},
    {Qt::Key_6, KeyCode::Digit6},      {Qt::Key_BracketRight, KeyCode::RightBracket},
    {Qt::Key_O, KeyCode::O},           {Qt::Key_BracketLeft, KeyCode::LeftBracket},
    {Qt::Key_Return, KeyCode::Return}, {Qt::Key_J, KeyCode::J},
    {Qt::Key_Space, KeyCode::Space},   {Qt::Key_Backspace, KeyCode::Delete},
    {Qt::Key_Escape, KeyCode::Escape}, {Qt::Key_Enter, KeyCode::KeypadEnter},
    {Qt::Key_Left, KeyCode::Left},     {Qt::Key_Right, KeyCode::Right},
    {Qt::Key_Down, KeyCode::Down},     {Qt::Key_Up, KeyCode::Up},
};

// Symbols of X11 and Wayland (X11/keysymdef.h), far above the key codes of macOS: from the first to
// the last of those that choose a level or a group, and the one of that kind from before ISO 9995.
constexpr std::uint32_t ISO_LOCK = 0xfe01;
constexpr std::uint32_t ISO_LEVEL5_LOCK = 0xfe13;
constexpr std::uint32_t MODE_SWITCH = 0xff7e;

/// Whether no layout writes a character with this key.
bool isFunctionKey(std::optional<KeyCode> key)
{
    if (!key)
        return false;
    switch (*key) {
    case KeyCode::Return:
    case KeyCode::Space:
    case KeyCode::Delete:
    case KeyCode::Escape:
    case KeyCode::KeypadEnter:
    case KeyCode::Left:
    case KeyCode::Right:
    case KeyCode::Down:
    case KeyCode::Up:
        return true;
    default:
        return false;
    }
}

bool isArrow(std::optional<KeyCode> key)
{
    return key == KeyCode::Left || key == KeyCode::Right || key == KeyCode::Down ||
           key == KeyCode::Up;
}

/// Qt numbers keys that write a character by that character. Layouts put further spaces and
/// invisible joiners on the space bar, so these prove nothing.
bool isVisibleCharacter(int qtKey)
{
    const auto character = static_cast<char32_t>(qtKey);
    return character <= QChar::LastValidCodePoint && QChar::isPrint(character) &&
           !QChar::isSpace(character);
}

} // namespace

std::optional<KeyCode> keyCode(const QKeyEvent &event)
{
    if (isLayoutSwitch(event))
        return std::nullopt;
    if (event.nativeScanCode() == 0)
        return keyCodeFromSymbol(event.key());
#ifdef Q_OS_MACOS
    // Every scan code is 1 there, and the virtual key 0 is the A.
    const std::optional<KeyCode> position = keyCodeFromMac(event.nativeVirtualKey());
#else
    const std::optional<KeyCode> position = keyCodeFromEvdev(event.nativeScanCode() - 8);
#endif
    const std::optional<KeyCode> key = keyCodeAt(position, event.key());
    // Without Num Lock. The arrow keys themselves are known by their position, on macOS too, where
    // they count as keys of the keypad.
    const bool isKeypadArrow =
        key != position && isArrow(key) && event.modifiers() & Qt::KeypadModifier;
    return isKeypadArrow ? std::nullopt : key;
}

bool isLayoutSwitch(const QKeyEvent &event)
{
    const std::uint32_t symbol = event.nativeVirtualKey();
    return (symbol >= ISO_LOCK && symbol <= ISO_LEVEL5_LOCK) || symbol == MODE_SWITCH;
}

std::optional<KeyCode> keyCodeAt(std::optional<KeyCode> position, int qtKey)
{
    const std::optional<KeyCode> symbol = keyCodeFromSymbol(qtKey);
    const bool disagree = isFunctionKey(position)
                              ? isVisibleCharacter(qtKey) || qtKey == Qt::Key_CapsLock
                              : isFunctionKey(symbol);
    return disagree ? symbol : position;
}

std::optional<KeyCode> keyCodeFromEvdev(std::uint32_t code)
{
    const auto row = std::ranges::find(EVDEV_KEYS, code, &EvdevRow::evdev);
    return row == std::end(EVDEV_KEYS) ? std::nullopt : std::optional(row->key);
}

std::optional<KeyCode> keyCodeFromMac(std::uint32_t code)
{
    // KeyCode has macOS's numbers, and the table has every KeyCode.
    const auto row = std::ranges::find(EVDEV_KEYS, code, [](const EvdevRow &candidate) {
        return static_cast<std::uint32_t>(candidate.key);
    });
    return row == std::end(EVDEV_KEYS) ? std::nullopt : std::optional(row->key);
}

std::optional<KeyCode> keyCodeFromSymbol(int qtKey)
{
    const auto row = std::ranges::find(SYMBOL_KEYS, qtKey, &SymbolRow::symbol);
    return row == std::end(SYMBOL_KEYS) ? std::nullopt : std::optional(row->key);
}

} // namespace tavolin
