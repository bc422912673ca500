#pragma once
// The list of pictures, the position in it, and the load pump: the target moves at once, one decode
// runs at a time, always for the newest target, and whatever it gives is shown. One that takes long
// is given up when the target has moved on.

#include "browse/ThumbCache.h"
#include "pixels/DisplayPicture.h"

#include <QObject>
#include <QTimer>

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

/// Owns the list and the position. Indices count from 0 and mean something only in the list of one
/// generation.
class Browser : public QObject
{
    Q_OBJECT

public:
    /// @p isEdited tells whether the picture on screen has edits, for the info line.
    Browser(Screen &screen, Labels &labels, Loupe &loupe, BackgroundQueue &loadQueue,
            const PictureReader &reader, std::function<bool()> isEdited);

    /// Opens a folder, or the folder of a file at that file. Does nothing when nothing is there.
    void openPath(const std::filesystem::path &url);
    /// Lists, sorts and shows @p folder, starting at @p startAt if that is in it.
    void openFolder(const std::filesystem::path &folder,
                    const std::optional<std::filesystem::path> &startAt);

    /// Moves the target by @p step, stopping at the ends of the list.
    void navigate(int step);
    /// Moves the target to @p index, if that is in the list; not in crop mode.
    void jumpTo(int index);
    /// Makes the picture on screen the target again.
    void stayHere();
    /// Shows the target's picture: at once if it is ready, else when it has been decoded. Does
    /// nothing while a decode is under way, which calls this again when it ends.
    void pumpLoad();
    /// Takes the entry @p index out; what was behind it moves up and takes its place.
    void removeFromList(int index);
    /// Records that what is on screen is no file's picture, until the next one is shown.
    void forgetShown() { m_isShown = false; }

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
    /// How many folders have been opened.
    [[nodiscard]] std::uint64_t opening() const { return m_opening; }
    /// How many lists there have been: results for an older one don't apply.
    [[nodiscard]] std::uint64_t generation() const { return m_generation; }
    /// Whether the display picture of @p index is ready to be shown.
    [[nodiscard]] bool isReady(int index) const { return m_cache.get(index).has_value(); }
    /// How many display pictures are ready.
    [[nodiscard]] int readyCount() const { return m_cache.count(); }
    /// Keeps @p picture, which was made for @p index of this list, for later, unless it is null or
    /// too far from the target by now.
    void keep(int index, const DisplayPicture &picture);
    /// Pixels of the full picture on screen, upright. Reads the file at currentIndex(), which must
    /// be in the list, where no one has told them yet; empty when it doesn't say.
    [[nodiscard]] std::optional<QSize> currentPixelSize();

Q_SIGNALS:
    /// A path is about to be opened.
    void aboutToOpen();
    /// The target is about to leave the picture on screen, or the list has changed under it.
    void leaving();
    /// The list has changed: indices mean other files.
    void listChanged();
    /// A picture has been put on screen.
    void shown();

private:
    /// A decode started by the pump.
    struct Load
    {
        int index = 0;
        std::uint64_t generation = 0; // of the list that the index is in
        std::stop_source stop;
    };

    void changeList();
    void showNothing(const QString &info);
    void dropLateLoad();
    void endLoad();
    void loadFinished(const DisplayPicture &picture, int index);
    void display(const DisplayPicture &picture, int index);

    Screen &m_screen;
    Labels &m_labels;
    Loupe &m_loupe;
    BackgroundQueue &m_loadQueue;
    const PictureReader &m_reader;
    std::function<bool()> m_isEdited;
    std::vector<std::filesystem::path> m_imageList;
    std::uint64_t m_opening = 0;
    std::uint64_t m_generation = 0;
    int m_targetIndex = 0;
    int m_currentIndex = 0;
    bool m_isShown = false;
    std::optional<Load> m_load; // under way
    QTimer m_patience;          // runs until that is late
    ThumbCache m_cache;
};

} // namespace tavolin
