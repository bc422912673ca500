#pragma once
// Choosing a folder to open.

#include "browse/FolderDialogTexts.h"

#include <QFileDialog>
#include <QObject>
#include <QPointer>

#include <filesystem>
#include <functional>
#include <optional>

class QWidget;

namespace tavolin {

class BackgroundQueue;
class Browser;
class Loupe;

/// Owns the folder dialog over the window of @p view, which gets the keyboard when it closes.
class FolderDialog : public QObject
{
    Q_OBJECT

public:
    FolderDialog(Browser &browser, Loupe &loupe, BackgroundQueue &listQueue, QWidget &view);

    /// Lets the user choose a folder, and opens it. The dialog begins in the folder that is open,
    /// unless that does not answer, which it is asked first: Qt's dialog looks at what it shows on
    /// the main thread. Does nothing while the dialog is open.
    void openDialog();

private:
    /// Tells @p use whether @p folder is there, or soon that it isn't if it does not answer.
    void ask(const std::filesystem::path &folder, const std::function<void(bool isThere)> &use);
    void show(const std::optional<std::filesystem::path> &folder);

    Browser &m_browser;
    Loupe &m_loupe;
    BackgroundQueue &m_listQueue;
    QWidget &m_view;
    FolderDialogTexts m_texts;
    QPointer<QFileDialog> m_dialog;
    bool m_isAsking = false; // where the dialog is to begin
};

} // namespace tavolin
