#include "platform/KeyCodes.h"

#include <QKeyEvent>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <optional>
#include <ostream>
#include <string>

namespace tavolin {
namespace {

/// A key of the table, with every number that stands for it.
struct Key
{
    const char *name;
    KeyCode code;
    std::uint16_t mac;
    std::uint32_t evdev;
    Qt::Key symbol;
};

void PrintTo(const Key &key, std::ostream *out)
{
    *out << key.name;
}

constexpr Key KEYS[] = {
    {"A", KeyCode::A, 0, 30, Qt::Key_A},
    {"S", KeyCode::S, 1, 31, Qt::Key_S},
    {"D", KeyCode::D, 2, 32, Qt::Key_D},
    {"F", KeyCode::F, 3, 33, Qt::Key_F},
    {"H", KeyCode::H, 4, 35, Qt::Key_H},
    {"Z", KeyCode::Z, 6, 44, Qt::Key_Z},
    {"X", KeyCode::X, 7, 45, Qt::Key_X},
    {"Q", KeyCode::Q, 12, 16, Qt::Key_Q},
    {"T", KeyCode::T, 17, 20, Qt::Key_T},
    {"Digit1", KeyCode::Digit1, 18, 2, Qt::Key_1},
    {"Digit2", KeyCode::Digit2, 19, 3, Qt::Key_2},
    {"Digit3", KeyCode::Digit3, 20, 4, Qt::Key_3},
    {"Digit4", KeyCode::Digit4, 21, 5, Qt::Key_4},
    {"Digit5", KeyCode::Digit5, 23, 6, Qt::Key_5},
    {"Digit6", KeyCode::Digit6, 22, 7, Qt::Key_6},
    {"RightBracket", KeyCode::RightBracket, 30, 27, Qt::Key_BracketRight},
    {"O", KeyCode::O, 31, 24, Qt::Key_O},
    {"LeftBracket", KeyCode::LeftBracket, 33, 26, Qt::Key_BracketLeft},
    {"Return", KeyCode::Return, 36, 28, Qt::Key_Return},
    {"J", KeyCode::J, 38, 36, Qt::Key_J},
    {"Space", KeyCode::Space, 49, 57, Qt::Key_Space},
    {"Delete", KeyCode::Delete, 51, 14, Qt::Key_Backspace},
    {"Escape", KeyCode::Escape, 53, 1, Qt::Key_Escape},
    {"KeypadEnter", KeyCode::KeypadEnter, 76, 96, Qt::Key_Enter},
    {"Left", KeyCode::Left, 123, 105, Qt::Key_Left},
    {"Right", KeyCode::Right, 124, 106, Qt::Key_Right},
    {"Down", KeyCode::Down, 125, 108, Qt::Key_Down},
    {"Up", KeyCode::Up, 126, 103, Qt::Key_Up},
};

constexpr int THAI_FO_FAN = 0xe1f; // what the key A writes in Thai

/// The press of a real key that the layout gives @p symbol. @p evdev and @p mac are its position;
/// the system at hand reports one of them, as its Qt does.
QKeyEvent pressAt(std::uint32_t evdev, std::uint32_t mac, int symbol,
                  Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
#ifdef Q_OS_MACOS
    Q_UNUSED(evdev);
    return {QEvent::KeyPress, symbol, modifiers, 1, mac, 0};
#else
    Q_UNUSED(mac);
    return {QEvent::KeyPress, symbol, modifiers, evdev + 8, 0x61, 0};
#endif
}

/// A press without hardware code, as programs make them.
QKeyEvent syntheticPress(int symbol)
{
    return {QEvent::KeyPress, symbol, Qt::NoModifier, 0, 0, 0};
}

class KeyTable : public testing::TestWithParam<Key>
{};

TEST_P(KeyTable, ValueIsTheVirtualKeyCodeOfMac)
{
    EXPECT_EQ(static_cast<std::uint16_t>(GetParam().code), GetParam().mac);
}

TEST_P(KeyTable, EvdevCodeGivesTheKey)
{
    EXPECT_EQ(keyCodeFromEvdev(GetParam().evdev), GetParam().code);
}

TEST_P(KeyTable, MacCodeGivesTheKey)
{
    EXPECT_EQ(keyCodeFromMac(GetParam().mac), GetParam().code);
}

TEST_P(KeyTable, SymbolGivesTheKey)
{
    EXPECT_EQ(keyCodeFromSymbol(GetParam().symbol), GetParam().code);
}

TEST_P(KeyTable, PressGivesTheKey)
{
    const Key &key = GetParam();
    EXPECT_EQ(keyCode(pressAt(key.evdev, key.mac, key.symbol)), key.code);
}

TEST_P(KeyTable, SyntheticPressGivesTheKey)
{
    EXPECT_EQ(keyCode(syntheticPress(GetParam().symbol)), GetParam().code);
}

TEST_P(KeyTable, ModifiersAreIgnored)
{
    const Key &key = GetParam();
    const auto modifiers = Qt::ShiftModifier | Qt::ControlModifier | Qt::AltModifier |
                           Qt::MetaModifier | Qt::KeypadModifier | Qt::GroupSwitchModifier;
    EXPECT_EQ(keyCode(pressAt(key.evdev, key.mac, key.symbol, modifiers)), key.code);
}

INSTANTIATE_TEST_SUITE_P(All, KeyTable, testing::ValuesIn(KEYS),
                         [](const auto &instance) { return std::string(instance.param.name); });

TEST(KeyCodes, EvdevCodesOutsideTheTableGiveNothing)
{
    for (std::uint32_t code = 0; code < 0x300; ++code) {
        if (std::ranges::find(KEYS, code, &Key::evdev) == std::end(KEYS)) {
            EXPECT_EQ(keyCodeFromEvdev(code), std::nullopt) << code;
        }
    }
}

TEST(KeyCodes, MacCodesOutsideTheTableGiveNothing)
{
    for (std::uint32_t code = 0; code < 0x100; ++code) {
        if (std::ranges::find(KEYS, code, &Key::mac) == std::end(KEYS)) {
            EXPECT_EQ(keyCodeFromMac(code), std::nullopt) << code;
        }
    }
    EXPECT_EQ(keyCodeFromMac(0x10000), std::nullopt);
}

TEST(KeyCodes, SymbolsOutsideTheTableGiveNothing)
{
    for (const int symbol : {0, int(Qt::Key_B), int(Qt::Key_0), int(Qt::Key_7), int(Qt::Key_Tab),
                             int(Qt::Key_Delete), int(Qt::Key_Home), int(Qt::Key_PageDown),
                             int(Qt::Key_F1), int(Qt::Key_unknown), THAI_FO_FAN, -1})
        EXPECT_EQ(keyCodeFromSymbol(symbol), std::nullopt) << symbol;
}

TEST(KeyCodes, PressOfAKeyOutsideTheTableGivesNothing)
{
    EXPECT_EQ(keyCode(pressAt(48, 11, Qt::Key_B)), std::nullopt);
    EXPECT_EQ(keyCode(pressAt(102, 115, Qt::Key_Home)), std::nullopt);
    EXPECT_EQ(keyCode(syntheticPress(Qt::Key_B)), std::nullopt);
}

/// Position and symbol of a press, and what becomes of it.
struct Pair
{
    const char *name;
    std::optional<KeyCode> position;
    int symbol;
    std::optional<KeyCode> expected;
};

void PrintTo(const Pair &pair, std::ostream *out)
{
    *out << pair.name;
}

constexpr Pair PAIRS[] = {
    {"ThaiLayoutKeepsA", KeyCode::A, THAI_FO_FAN, KeyCode::A},
    {"RussianLayoutKeepsA", KeyCode::A, 0x424, KeyCode::A},
    {"DvorakKeepsThePlaceOfS", KeyCode::S, Qt::Key_O, KeyCode::S},
    {"FrenchLayoutKeepsDigit1", KeyCode::Digit1, Qt::Key_Ampersand, KeyCode::Digit1},
    {"DeadKeyKeepsLeftBracket", KeyCode::LeftBracket, Qt::Key_Dead_Circumflex,
     KeyCode::LeftBracket},
    {"LetterAtEscapeIsTheLetter", KeyCode::Escape, Qt::Key_A, KeyCode::A},
    {"ThaiLetterAtEscapeDoesNotQuit", KeyCode::Escape, THAI_FO_FAN, std::nullopt},
    {"UnusedLetterAtRightDoesNotStep", KeyCode::Right, Qt::Key_B, std::nullopt},
    {"DigitAtReturnIsTheDigit", KeyCode::Return, Qt::Key_1, KeyCode::Digit1},
    {"DigitAtKeypadEnterIsTheDigit", KeyCode::KeypadEnter, Qt::Key_2, KeyCode::Digit2},
    {"LetterAtSpaceIsTheLetter", KeyCode::Space, Qt::Key_S, KeyCode::S},
    {"LetterAtDeleteIsTheLetter", KeyCode::Delete, Qt::Key_X, KeyCode::X},
    {"CapsLockAtEscapeIsCapsLock", KeyCode::Escape, Qt::Key_CapsLock, std::nullopt},
    {"EscapeAtCapsLockIsEscape", std::nullopt, Qt::Key_Escape, KeyCode::Escape},
    {"EscapeAtALetterIsEscape", KeyCode::A, Qt::Key_Escape, KeyCode::Escape},
    {"SpaceAtADigitIsSpace", KeyCode::Digit1, Qt::Key_Space, KeyCode::Space},
    {"ReturnAtALetterIsReturn", KeyCode::O, Qt::Key_Return, KeyCode::Return},
    {"ArrowAtABracketIsTheArrow", KeyCode::LeftBracket, Qt::Key_Left, KeyCode::Left},
    {"ArrowAtAnotherKeyIsTheArrow", std::nullopt, Qt::Key_Right, KeyCode::Right},
    {"LetterAtAnotherKeyIsNothing", std::nullopt, Qt::Key_A, std::nullopt},
    {"NonBreakingSpaceIsSpace", KeyCode::Space, Qt::Key_nobreakspace, KeyCode::Space},
    {"InvisibleJoinerOnSpaceIsSpace", KeyCode::Space, 0x200c, KeyCode::Space},
    {"NoSymbolKeepsEscape", KeyCode::Escape, 0, KeyCode::Escape},
    {"UnknownSymbolKeepsUp", KeyCode::Up, Qt::Key_unknown, KeyCode::Up},
    {"EnterAtReturnIsReturn", KeyCode::Return, Qt::Key_Enter, KeyCode::Return},
};

class PositionAgainstSymbol : public testing::TestWithParam<Pair>
{};

TEST_P(PositionAgainstSymbol, Decides)
{
    EXPECT_EQ(keyCodeAt(GetParam().position, GetParam().symbol), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Table, PositionAgainstSymbol, testing::ValuesIn(PAIRS),
                         [](const auto &instance) { return std::string(instance.param.name); });

TEST(KeyCodes, ArrowsOfTheKeypadAreOtherKeys)
{
    // 4, 6, 8 and 2 without Num Lock
    EXPECT_EQ(keyCode(pressAt(75, 86, Qt::Key_Left, Qt::KeypadModifier)), std::nullopt);
    EXPECT_EQ(keyCode(pressAt(77, 88, Qt::Key_Right, Qt::KeypadModifier)), std::nullopt);
    EXPECT_EQ(keyCode(pressAt(72, 91, Qt::Key_Up, Qt::KeypadModifier)), std::nullopt);
    EXPECT_EQ(keyCode(pressAt(80, 84, Qt::Key_Down, Qt::KeypadModifier)), std::nullopt);
}

TEST(KeyCodes, RemoteKeyboardsArrowsAndEnterAreKnownByTheirSymbols)
{
    EXPECT_EQ(keyCode(pressAt(75, 86, Qt::Key_Left)), KeyCode::Left);
    EXPECT_EQ(keyCode(pressAt(75, 86, Qt::Key_Enter, Qt::KeypadModifier)), KeyCode::KeypadEnter);
}

TEST(KeyCodes, ThaiPressOfTheKeyAIsA)
{
    EXPECT_EQ(keyCode(pressAt(30, 0, THAI_FO_FAN)), KeyCode::A);
}

TEST(KeyCodes, SyntheticThaiSymbolIsNothing)
{
    EXPECT_EQ(keyCode(syntheticPress(THAI_FO_FAN)), std::nullopt);
}

TEST(KeyCodes, RemoteKeyboardsLetterAtThePlaceOfEscapeIsTheLetter)
{
    EXPECT_EQ(keyCode(pressAt(1, 53, Qt::Key_A)), KeyCode::A);
}

#ifndef Q_OS_MACOS // where no such press arrives
/// The press of the key at @p evdev with the symbol @p native of X11, which is @p symbol to Qt.
QKeyEvent pressWithNative(std::uint32_t evdev, std::uint32_t native, int symbol = 0)
{
    return {QEvent::KeyPress, symbol, Qt::MetaModifier, evdev + 8, native, 0};
}

constexpr std::uint32_t SPACE = 57;
constexpr std::uint32_t KEYPAD_ENTER = 96;

TEST(LayoutSwitch, OnSpaceIsNotSpace)
{
    // ISO_Lock, ISO_Next_Group, ISO_Last_Group_Lock, ISO_Level5_Lock, Mode_switch
    for (const std::uint32_t native : {0xfe01U, 0xfe08U, 0xfe0fU, 0xfe13U, 0xff7eU}) {
        EXPECT_TRUE(isLayoutSwitch(pressWithNative(SPACE, native))) << native;
        EXPECT_EQ(keyCode(pressWithNative(SPACE, native)), std::nullopt) << native;
    }
}

TEST(LayoutSwitch, OnKeypadEnterIsNotEnter)
{
    constexpr std::uint32_t ISO_LEVEL3_SHIFT = 0xfe03;
    EXPECT_EQ(keyCode(pressWithNative(KEYPAD_ENTER, ISO_LEVEL3_SHIFT, Qt::Key_AltGr)),
              std::nullopt);
}

TEST(LayoutSwitch, IsNoneWithAnotherSymbol)
{
    // Space, the codes beside those of the switches, ISO_Left_Tab, Num_Lock
    for (const std::uint32_t native : {0x20U, 0xfe00U, 0xfe14U, 0xfe20U, 0xff7fU}) {
        EXPECT_FALSE(isLayoutSwitch(pressWithNative(SPACE, native))) << native;
        EXPECT_EQ(keyCode(pressWithNative(SPACE, native)), KeyCode::Space) << native;
    }
}
#endif

} // namespace
} // namespace tavolin
