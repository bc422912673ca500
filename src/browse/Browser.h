#pragma once
// The list of pictures, the position in it, and the load pump: the target moves at once, one decode
// runs at a time, always for the newest target, and whatever it gives is shown. One that takes long
// is given up when the target has moved on. Lists are made in the background; until one is there,
// everything stays as it is.

#include "browse/ThumbCache.h"
#include "pixels/DisplayPicture.h"

#include <QObject>
#include <QTimer>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <stop_token>
#include <vector>

namespace tavolin {

class BackgroundQueue;
class Labels;
class Loupe;
class PictureReader;
class Screen;
struct FolderList;

/// Where the browser has its work done.
struct BrowserQueues
{
    BackgroundQueue &list;
    BackgroundQueue &load;
};

/// Owns the list and the position. Indices count from 0 and mean something only in the list of one
/// generation.
class Browser : public QObject
{
    Q_OBJECT

public:
    /// @p isEdited tells whether the picture on screen has edits, for the info line.
    Browser(Screen &screen, Labels &labels, Loupe &loupe, const BrowserQueues &queues,
            const PictureReader &reader, std::function<bool()> isEdited);

    /// Opens a folder, or the folder of a file at that file. Does nothing when nothing is there.
    /// What is to be opened later takes the place of what is being opened.
    void openPath(const std::filesystem::path &url);
    /// Lists, sorts and shows @p folder, starting at @p startAt if that is in it.
    void openFolder(const std::filesystem::path &folder,
                    const std::optional<std::filesystem::path> &startAt);
    /// Whether something is being opened.
    [[nodiscard]] bool isOpening() const { return m_isOpening; }

    /// Moves the target by @p step, stopping at the ends of the list. Where there is no list yet
    /// but one to come, it is done then.
    void navigate(int step);
    /// Moves the target to @p index, if that is in the list; not in crop mode.
    void jumpTo(int index);
    /// Makes the picture on screen the target again.
    void stayHere();
    /// Shows the target's picture: at once if it is ready, else when it has been decoded. Does
    /// nothing while a decode is under way, which calls this again when it ends.
    void pumpLoad();
    /// Shows the picture in the colours of the monitor as they are now: it is decoded anew, and
    /// what is on screen stays until then. One with edits is somebody else's.
    void refreshColors();
    /// Takes the entry @p index out; what was behind it moves up and takes its place. Another
    /// picture on screen stays, with its edits.
    void removeFromList(int index);
    /// Records that what is on screen is no file's picture, until the next one is shown.
    void forgetShown();

    /// Rebuilds the info line from the list and the target; leaves it alone without a list.
    void updateInfoText();

    [[nodiscard]] const std::vector<std::filesystem::path> &imageList() const
    {
        return m_imageList;
    }
    [[nodiscard]] bool isInList(int index) const;
    /// Where the user wants to be.
    [[nodiscard]] int targetIndex() const { return m_targetIndex; }
    /// Whose picture is on screen, if isCurrentShown().
    [[nodiscard]] int currentIndex() const { return m_currentIndex; }
    /// The file at currentIndex(), which must be in the list.
    [[nodiscard]] const std::filesystem::path &currentUrl() const;
    /// Whether the picture on screen is that of the file at currentIndex().
    [[nodiscard]] bool isCurrentShown() const;
    /// Whether the picture on screen is one of a list that another has taken the place of: what is
    /// seen is not what currentUrl() says.
    [[nodiscard]] bool isBetweenLists() const { return m_isBetweenLists; }
    /// How many lists have been opened.
    [[nodiscard]] std::uint64_t opening() const { return m_opening; }
    /// How many lists there have been: an index means something in one of them only.
    [[nodiscard]] std::uint64_t generation() const { return m_generation; }
    /// Where the file is now that had the index @p index in the list of @p generation; empty when
    /// it has been taken out, or another list been opened since.
    [[nodiscard]] std::optional<int> indexNow(int index, std::uint64_t generation) const;
    /// Whether the display picture of @p index is ready to be shown.
    [[nodiscard]] bool isReady(int index) const { return m_cache.get(index).has_value(); }
    /// How many display pictures are ready.
    [[nodiscard]] int readyCount() const { return m_cache.count(); }
    /// Keeps @p picture, which was made for @p index of this list, for later, unless it is null,
    /// for another monitor or too far from the target by now.
    void keep(int index, const DisplayPicture &picture);
    /// The display picture of @p index, if it is ready.
    [[nodiscard]] std::optional<DisplayPicture> picture(int index) const
    {
        return m_cache.get(index);
    }
    /// Keeps @p rendition for @p image, the display image of @p index of this list, and shows it if
    /// that is on screen.
    void sharpen(int index, const Image &image, const Image &rendition);
    /// Calls @p then when Screen::currentPixelSize() says what the picture on screen has, which
    /// must be that of currentIndex(): at once, or where nobody has told it yet when its file has
    /// been read, whether that says it or not. Never, if another picture is shown by then.
    void whenSizeIsKnown(std::function<void()> then);

Q_SIGNALS:
    /// The list of a path that was opened is about to take the place of this one.
    void aboutToOpen();
    /// What was opened last is there, or can't be.
    void openingEnded();
    /// The target is about to leave the picture on screen, or the list has changed under it.
    void leaving();
    /// The list has changed: indices mean other files.
    void listChanged();
    /// A picture has been put on screen.
    void shown();
    /// In crop mode: the picture that is on screen is there in the colours of the monitor.
    void recolored(const DisplayPicture &picture);
    /// The screen shows no picture of this list, and none is coming.
    void noneShown();

private:
    /// A decode started by the pump.
    struct Load
    {
        int index = 0;
        std::uint64_t generation = 0; // of the list that the index is in
        std::stop_source stop;
        std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();
    };

    void open(std::function<FolderList(const std::stop_token &)> list, bool isPath);
    void install(FolderList list);
    void dropSizeRead();
    void leavePicture();
    void listHasChanged();
    void showNothing(const QString &info);
    void dropLateLoad();
    [[nodiscard]] std::optional<int> loadIndex() const;
    void endLoad();
    void loadFinished(const DisplayPicture &loaded, int index);
    void refreshUnderBox(const DisplayPicture &picture, int index, bool isGivenUp);
    void showUnedited();
    void display(const DisplayPicture &picture, int index);

    Screen &m_screen;
    Labels &m_labels;
    Loupe &m_loupe;
    BackgroundQueue &m_listQueue;
    BackgroundQueue &m_loadQueue;
    const PictureReader &m_reader;
    std::function<bool()> m_isEdited;
    std::vector<std::filesystem::path> m_imageList;
    bool m_isOpening = false;
    std::stop_source m_listing; // ends what is being opened
    int m_earlySteps = 0;       // before the first list
    std::uint64_t m_opening = 0;
    std::uint64_t m_generation = 0;
    std::vector<int> m_removed; // since this list was opened, each one generation
    int m_targetIndex = 0;
    int m_currentIndex = 0;
    bool m_isBetweenLists = false;
    bool m_isShown = false;
    std::optional<Load> m_load;                       // under way
    QTimer m_patience;                                // runs until that is late
    std::vector<std::function<void()>> m_sizeWaiters; // for the size that is being read
    std::stop_source m_sizeRead;                      // ends that
    ThumbCache m_cache;
};

} // namespace tavolin
