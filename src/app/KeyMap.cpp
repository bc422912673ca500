#include "app/KeyMap.h"

#include <algorithm>
#include <array>

namespace tavolin {

namespace {

template <typename Command>
struct Binding
{
    KeyCode key;
    Command command;
};

constexpr std::array BINDINGS{
    Binding{KeyCode::A, Command::CopyToHL},
    Binding{KeyCode::D, Command::DeleteCurrent},
    Binding{KeyCode::F, Command::ToggleFullScreen},
    Binding{KeyCode::H, Command::ToggleHelp},
    Binding{KeyCode::J, Command::OpenSearch},
    Binding{KeyCode::O, Command::OpenFolder},
    Binding{KeyCode::S, Command::SaveEdited},
    Binding{KeyCode::X, Command::EnterCrop},
    Binding{KeyCode::T, Command::EnterCrop},
    Binding{KeyCode::Space, Command::NextPicture},
    Binding{KeyCode::Right, Command::NextPicture},
    Binding{KeyCode::Left, Command::PreviousPicture},
    Binding{KeyCode::Escape, Command::Leave},
};

constexpr std::array CROP_BINDINGS{
    Binding{KeyCode::Digit1, CropCommand::FreeRatio},
    Binding{KeyCode::Digit2, CropCommand::OriginalRatio},
    Binding{KeyCode::Digit3, CropCommand::SquareRatio},
    Binding{KeyCode::Digit4, CropCommand::FourByThreeRatio},
    Binding{KeyCode::Digit5, CropCommand::SixteenByNineRatio},
    Binding{KeyCode::Digit6, CropCommand::CustomRatio},
    Binding{KeyCode::F, CropCommand::Flip},
    Binding{KeyCode::LeftBracket, CropCommand::TurnLeft},
    Binding{KeyCode::RightBracket, CropCommand::TurnRight},
    Binding{KeyCode::Left, CropCommand::Nudge},
    Binding{KeyCode::Right, CropCommand::Nudge},
    Binding{KeyCode::Up, CropCommand::Nudge},
    Binding{KeyCode::Down, CropCommand::Nudge},
    Binding{KeyCode::X, CropCommand::Apply},
    Binding{KeyCode::Return, CropCommand::Apply},
    Binding{KeyCode::KeypadEnter, CropCommand::Apply},
    Binding{KeyCode::H, CropCommand::ToggleHelp},
    Binding{KeyCode::Escape, CropCommand::Leave},
};

template <typename Bindings>
auto boundTo(KeyCode key, const Bindings &bindings)
{
    const auto binding = std::find_if(bindings.begin(), bindings.end(),
                                      [key](const auto &each) { return each.key == key; });
    return binding == bindings.end() ? std::nullopt : std::optional(binding->command);
}

} // namespace

std::optional<Command> commandForKey(KeyCode key)
{
    return boundTo(key, BINDINGS);
}

std::optional<CropCommand> cropCommandForKey(KeyCode key)
{
    return boundTo(key, CROP_BINDINGS);
}

} // namespace tavolin
