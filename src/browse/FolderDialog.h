#pragma once
// Choosing a folder to open.

#include <QFileDialog>
#include <QObject>
#include <QPointer>

class QWidget;

namespace tavolin {

class Browser;
class Loupe;

/// Owns the folder dialog over the window of @p view, which gets the keyboard when it closes.
class FolderDialog : public QObject
{
    Q_OBJECT

public:
    FolderDialog(Browser &browser, Loupe &loupe, QWidget &view)
        : m_browser(browser), m_loupe(loupe), m_view(view)
    {}

    /// Lets the user choose a folder, and opens it. Does nothing while the dialog is open.
    void openDialog();

private:
    Browser &m_browser;
    Loupe &m_loupe;
    QWidget &m_view;
    QPointer<QFileDialog> m_dialog;
};

} // namespace tavolin
