#pragma once
// The text field of the file name search.

#include <QLineEdit>

namespace tavolin {

/// Takes the text to search for; textChanged() tells of every change. While it has the keyboard no
/// key reaches the view below, whose keys are commands. The owner places it, shows it and gives it
/// the keyboard.
class SearchField : public QLineEdit
{
    Q_OBJECT

public:
    explicit SearchField(QWidget *parent);

    /// Puts it at its place near the top of a view of size @p view, in view points.
    void place(QSize view);

Q_SIGNALS:
    /// Return, Enter or Escape was pressed. The field is still at work then: end it with
    /// deleteLater(), never delete.
    void closed();

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void keyReleaseEvent(QKeyEvent *event) override;
    bool focusNextPrevChild(bool next) override;
};

} // namespace tavolin
