#pragma once
// The controller of everything: the window with what lies in it, the list of pictures and the
// position in it, and the one background queue that decodes for the screen. Lives on the main
// thread; each folder beside this one implements the methods that belong to it.

#include "app/ImageLayer.h"
#include "app/LaunchOptions.h"
#include "browse/DisplayPicture.h"
#include "browse/ThumbCache.h"
#include "platform/SerialQueue.h"

#include <QObject>
#include <QPointer>
#include <QRectF>
#include <QSizeF>
#include <QString>
#include <QTimer>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QFileDialog;
class QKeyEvent;
class QMainWindow;

namespace tavolin {

class Mailbox;
class TextLabel;
class ViewerView;

class Viewer : public QObject
{
    Q_OBJECT

public:
    /// Makes a display picture of a file on the load queue; loadDisplayPicture() unless a test
    /// brings its own.
    using Decoder = std::function<DisplayPicture(const std::filesystem::path &,
                                                 const DisplayTarget &, std::stop_token)>;

    /// @p mailbox carries results back to the main thread and must outlive the viewer.
    explicit Viewer(Mailbox &mailbox, Decoder decoder = loadDisplayPicture);
    ~Viewer() override;

    // Start-up: app/Viewer.cpp
    /// Builds the window and shows what @p options ask for.
    void applicationDidFinishLaunching(const LaunchOptions &options);
    [[nodiscard]] const ImageLayer &imageLayer() const { return m_shell.imageLayer; }
    /// Puts everything where it belongs after the view has changed its size.
    void viewResized();

    // Labels: app/Labels.cpp
    /// Shows @p text on the status line, for 1.4 seconds if @p autoClear, else until replaced.
    void showStatus(const QString &text, bool autoClear);
    void showInfo(const QString &text);
    /// Rebuilds the info line from the list and the target; leaves it alone without a list.
    void updateInfoText();

    // Keys: app/Keys.cpp
    /// Carries out the command of a key press; false when it has none.
    bool handleKey(const QKeyEvent &event);

    // Folders: browse/FolderOpening.cpp
    /// Lets the user choose a folder to open.
    void openDialog();
    /// Opens a folder, or the folder of a file at that file. Does nothing when nothing is there.
    void openPath(const std::filesystem::path &url);
    /// Lists, sorts and shows @p folder, starting at @p startAt if that is in it.
    void openFolder(const std::filesystem::path &folder,
                    const std::optional<std::filesystem::path> &startAt);

    // Showing pictures: browse/LoadPump.cpp
    /// Moves the target by @p step, stopping at the ends of the list.
    void navigate(int step);
    /// Where the picture may lie, and where it lies, in view points.
    [[nodiscard]] QRectF imageAreaRect() const;
    [[nodiscard]] QRectF fitRect() const;
    /// The longest side to decode for the window's present screen, in pixels.
    [[nodiscard]] int maxPixel() const;

private:
    void buildMenu();
    void buildWindow();
    void layoutLabels();
    void toggleFullScreen();

    void pumpLoad();
    void loadFinished(const DisplayPicture &picture, int index, std::uint64_t generation);
    void display(const DisplayPicture &picture, int index);
    void refreshRendition();
    [[nodiscard]] bool isInList(int index) const;

    struct Shell
    {
        std::unique_ptr<QMainWindow> window;
        ViewerView *view = nullptr; // this and the labels belong to the window
        ImageLayer imageLayer;
        TextLabel *infoLabel = nullptr;
        TextLabel *detailLabel = nullptr;
        TextLabel *statusLabel = nullptr;
        QTimer statusTimer;
        QPointer<QFileDialog> folderDialog;
        bool benchMode = false;
    };

    struct Browse
    {
        std::vector<std::filesystem::path> imageList;
        std::uint64_t generation = 0; // of the list: results for an older one don't apply
        int targetIndex = 0;          // where the user wants to be
        int currentIndex = 0;         // whose picture is on screen
        bool isLoading = false;       // a decode started by the pump is under way
        ThumbCache cache;
        Image currentThumb;
        std::optional<QSizeF> displaySize;     // of currentThumb, in pixels
        std::optional<QSize> currentPixelSize; // of the file on screen, once known
    };

    Shell m_shell;
    Browse m_browse;
    Mailbox &m_mailbox;
    Decoder m_decoder;
    SerialQueue m_loadQueue{"load", QualityOfService::UserInitiated}; // last: its jobs end first
};

} // namespace tavolin
