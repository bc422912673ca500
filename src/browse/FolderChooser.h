#pragma once
// The dialog in which a folder is chosen.

#include "browse/FolderChoice.h"
#include "browse/SubfolderList.h"
#include "platform/KeyRepeat.h"

#include <QDialog>
#include <QTimer>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

class QKeyEvent;
class QLineEdit;
class QListView;
class QListWidget;
class QModelIndex;
class QPushButton;
class QToolButton;

namespace tavolin {

class BackgroundQueue;
struct Subfolders;

/// Shows the sub-folders of one folder at a time. The disk is asked on a queue only, and one that
/// does not answer keeps nobody from going elsewhere.
///
/// Return in the list does what a double click does: it enters the folder that is selected. Where
/// none is, as after one was entered, it opens the folder that is shown, so that Return twice opens
/// what is selected. The open button opens at once: the folder that is selected, or else the one
/// that the field names. In the field Return goes to the folder that was typed and on to its list,
/// where Return opens it; "/" and "~" typed in the list begin a path. Backspace in the list and
/// Alt+Up anywhere go up, to where the folder that was left is selected; other letters select by
/// name.
class FolderChooser : public QDialog
{
    Q_OBJECT

public:
    /// @p queue must outlive it.
    FolderChooser(BackgroundQueue &queue, QWidget *parent);

    /// Begins in @p folder, or if there is none, or it does not answer soon, at home. ready() tells
    /// when that is decided. Called once, while the dialog is hidden.
    void begin(const std::optional<std::filesystem::path> &folder);

    [[nodiscard]] const std::filesystem::path &shownFolder() const { return m_shown; }

    void done(int result) override;

Q_SIGNALS:
    /// It is certain where to begin: the dialog can be opened.
    void ready();
    /// @p folder is to be opened; the dialog closes.
    void chosen(const std::filesystem::path &folder);

private:
    using Listing = std::shared_ptr<const Subfolders>; // null: failed

    bool eventFilter(QObject *watched, QEvent *event) override;
    [[nodiscard]] bool takesListKey(const QKeyEvent &event);
    void goTo(const std::filesystem::path &folder, const std::string &selected = {});
    void goToTyped();
    void goUp();
    void goToPlace(int row);
    void enter(const QModelIndex &index);
    void enterOrOpen();
    void openChosen();
    [[nodiscard]] std::optional<std::string> selectedName() const;
    [[nodiscard]] std::filesystem::path typed() const;

    /// Has @p work ask the disk, and hands what it gives to @p use, unless the user has gone
    /// elsewhere by then.
    template <typename Result>
    void read(std::function<Result(const std::stop_token &)> work,
              std::function<void(const Result &)> use);
    void stopReading();
    void becomeLate();
    void take(const Listing &listing);
    void lookBehindLinks(const Listing &listing);
    void showNames(const Listing &listing, const std::string &selected);
    void becomeReady();
    void askForMedia();
    void askForPictures();
    void showPlaces();
    void markPlace();

    BackgroundQueue &m_queue;
    std::filesystem::path m_home;
    std::optional<std::filesystem::path> m_pictures;
    std::vector<std::filesystem::path> m_media;
    std::vector<Place> m_places;
    bool m_isReady = false;
    bool m_hasAskedForPictures = false;
    std::filesystem::path m_shown;
    std::string m_toSelect;     // when that has been read
    std::stop_source m_reading; // ends that
    QTimer m_patience;          // runs until that is late
    std::stop_source m_askingForPictures;
    KeyRepeat m_return;
    KeyRepeat m_letter;
    SubfolderList m_subfolders;
    QToolButton *m_upButton = nullptr; // these are the dialog's
    QLineEdit *m_field = nullptr;
    QListWidget *m_placeList = nullptr;
    QListView *m_list = nullptr;
    QPushButton *m_openButton = nullptr;
};

} // namespace tavolin
