#pragma once
// The help page: a translucent panel that lists every command.

#include <QFont>
#include <QString>
#include <QStringView>
#include <QWidget>

#include <span>

namespace tavolin {

/// One line of the help page.
struct HelpRow
{
    QStringView keys; ///< Empty in a line that explains the one above.
    QStringView description;
};

/// All lines, from top to bottom.
[[nodiscard]] std::span<const HelpRow> helpRows();

/// What @p row is written in: regular where it explains the line above, medium elsewhere. The two
/// look alike where the family has no medium cut.
[[nodiscard]] QFont helpFont(const HelpRow &row);

/// All lines as one text, with a tab between the two parts of each.
[[nodiscard]] QString helpText();

/// Shows itself in the middle of its parent, as large as its text, and takes neither the keyboard
/// nor the mouse.
class HelpView : public QWidget
{
    Q_OBJECT

public:
    /// Appears at once.
    explicit HelpView(QWidget *parent);

    /// Moves it back to the middle; to be called when the parent has changed its size.
    void centre();

protected:
    void paintEvent(QPaintEvent *event) override;
};

} // namespace tavolin
