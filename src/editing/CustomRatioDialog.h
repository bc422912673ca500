#pragma once
// The dialog that asks for an aspect ratio.

#include <QDialog>

class QLineEdit;

namespace tavolin {

/// Asks for a ratio as width:height. Show it with open() and connect to finished(): text() holds
/// the answer if the result is QDialog::Accepted. Deletes itself once closed.
class CustomRatioDialog : public QDialog
{
    Q_OBJECT

public:
    explicit CustomRatioDialog(QWidget *parent);

    /// What is in the field, exactly as typed.
    [[nodiscard]] QString text() const;

private:
    QLineEdit *m_field = nullptr;
};

} // namespace tavolin
