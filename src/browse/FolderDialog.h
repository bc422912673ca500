#pragma once
// Choosing a folder to open.

#include <QObject>
#include <QPointer>

class QWidget;

namespace tavolin {

class BackgroundQueue;
class Browser;
class FolderChooser;
class Loupe;

/// Owns the folder chooser over the window of @p view, which gets the keyboard when it closes.
class FolderDialog : public QObject
{
    Q_OBJECT

public:
    /// The chooser asks the disk on @p queue, which nobody else waits for.
    FolderDialog(Browser &browser, Loupe &loupe, BackgroundQueue &queue, QWidget &view);

    /// Lets the user choose a folder, and opens it. The chooser begins in the folder that is open
    /// if that answers soon. Does nothing while there is a chooser.
    void openDialog();
    /// Closes the chooser as if the user had cancelled it. Whether there is one.
    bool closeDialog();

private:
    Browser &m_browser;
    Loupe &m_loupe;
    BackgroundQueue &m_queue;
    QWidget &m_view;
    QPointer<FolderChooser> m_chooser; // the window's
};

} // namespace tavolin
