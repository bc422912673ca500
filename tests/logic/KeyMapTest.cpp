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

TEST(KeyMap, EveryKeyHasItsCommandAndNoOtherKeyHasOne)
{
    for (std::uint32_t code = 0; code <= std::numeric_limits<std::uint16_t>::max(); ++code) {
        const auto key = static_cast<KeyCode>(code);
        const auto row = COMMANDS.find(key);
        const auto expected =
            row == COMMANDS.end() ? std::nullopt : std::optional<Command>(row->second);
        EXPECT_EQ(commandForKey(key), expected) << "key code " << code;
    }
}

} // namespace
} // namespace tavolin
