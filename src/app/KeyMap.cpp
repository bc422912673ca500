#include "app/KeyMap.h"

#include <algorithm>
#include <array>

namespace tavolin {

namespace {

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

} // namespace

std::optional<Command> commandForKey(KeyCode key)
{
    const auto binding = std::find_if(BINDINGS.begin(), BINDINGS.end(),
                                      [key](const Binding &each) { return each.key == key; });
    return binding == BINDINGS.end() ? std::nullopt : std::optional(binding->command);
}

} // namespace tavolin
