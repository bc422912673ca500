#include "app/KeyMap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <map>
#include <optional>

namespace tavolin {
namespace {

const std::map<KeyCode, Command> COMMANDS{
    {KeyCode::A, Command::CopyToHL},         {KeyCode::D, Command::DeleteCurrent},
    {KeyCode::F, Command::ToggleFullScreen}, {KeyCode::H, Command::ToggleHelp},
    {KeyCode::J, Command::OpenSearch},       {KeyCode::O, Command::OpenFolder},
    {KeyCode::S, Command::SaveEdited},       {KeyCode::X, Command::EnterCrop},
    {KeyCode::T, Command::EnterCrop},        {KeyCode::Space, Command::NextPicture},
    {KeyCode::Right, Command::NextPicture},  {KeyCode::Left, Command::PreviousPicture},
    {KeyCode::Escape, Command::Leave},
};

const std::map<KeyCode, CropCommand> CROP_COMMANDS{
    {KeyCode::Digit1, CropCommand::FreeRatio},
    {KeyCode::Digit2, CropCommand::OriginalRatio},
    {KeyCode::Digit3, CropCommand::SquareRatio},
    {KeyCode::Digit4, CropCommand::FourByThreeRatio},
    {KeyCode::Digit5, CropCommand::SixteenByNineRatio},
    {KeyCode::Digit6, CropCommand::CustomRatio},
    {KeyCode::F, CropCommand::Flip},
    {KeyCode::LeftBracket, CropCommand::TurnLeft},
    {KeyCode::RightBracket, CropCommand::TurnRight},
    {KeyCode::Left, CropCommand::Nudge},
    {KeyCode::Right, CropCommand::Nudge},
    {KeyCode::Up, CropCommand::Nudge},
    {KeyCode::Down, CropCommand::Nudge},
    {KeyCode::X, CropCommand::Apply},
    {KeyCode::Return, CropCommand::Apply},
    {KeyCode::KeypadEnter, CropCommand::Apply},
    {KeyCode::H, CropCommand::ToggleHelp},
    {KeyCode::Escape, CropCommand::Leave},
};

/// Checks the answer of @p commandOf for every code that a key can have.
template <typename Command>
void expectTable(const std::map<KeyCode, Command> &table,
                 std::optional<Command> (*commandOf)(KeyCode))
{
    for (std::uint32_t code = 0; code <= std::numeric_limits<std::uint16_t>::max(); ++code) {
        const auto key = static_cast<KeyCode>(code);
        const auto row = table.find(key);
        const auto expected = row == table.end() ? std::nullopt : std::optional(row->second);
        EXPECT_EQ(commandOf(key), expected) << "key code " << code;
    }
}

TEST(KeyMap, EveryKeyHasItsCommandAndNoOtherKeyHasOne)
{
    expectTable(COMMANDS, commandForKey);
}

TEST(KeyMap, InCropModeEveryKeyHasItsCommandAndNoOtherKeyHasOne)
{
    expectTable(CROP_COMMANDS, cropCommandForKey);
}

} // namespace
} // namespace tavolin
