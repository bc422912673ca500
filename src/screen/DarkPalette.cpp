#include "screen/DarkPalette.h"

namespace tavolin {

namespace {

constexpr QColor WINDOW{38, 38, 40};
constexpr QColor FIELD{26, 26, 28};
constexpr QColor BUTTON{58, 58, 61};
constexpr QColor TEXT{240, 240, 240};
constexpr QColor FAINT_TEXT{140, 140, 145};
constexpr QColor SELECTION{0, 122, 148};
constexpr QColor FAINT_SELECTION{72, 72, 76}; // of what can't be selected

} // namespace

QPalette darkPalette()
{
    QPalette palette(BUTTON, WINDOW);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText,
                            QPalette::ToolTipText, QPalette::BrightText})
        palette.setColor(role, TEXT);
    palette.setColor(QPalette::Base, FIELD);
    palette.setColor(QPalette::ToolTipBase, FIELD);
    palette.setColor(QPalette::PlaceholderText, FAINT_TEXT);
    palette.setColor(QPalette::Highlight, SELECTION);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, FAINT_TEXT);
    palette.setColor(QPalette::Disabled, QPalette::Highlight, FAINT_SELECTION);
    return palette;
}

} // namespace tavolin
