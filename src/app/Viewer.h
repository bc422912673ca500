#pragma once
// The controller of everything: the window with what lies in it, the list of pictures and the
// position in it, and the background queues. Lives on the main thread; each folder beside this one
// implements the methods that belong to it.

#include "app/LaunchOptions.h"
#include "browse/FileSearch.h"
#include "browse/PhotoInfo.h"
#include "browse/ThumbCache.h"
#include "browse/WheelSteps.h"
#include "editing/CropRatio.h"
#include "editing/EditJobs.h"
#include "editing/EditOp.h"
#include "pixels/DisplayPicture.h"
#include "platform/Failure.h"
#include "platform/KeyCodes.h"
#include "platform/SerialQueue.h"
#include "platform/Trash.h"
#include "screen/ImageLayer.h"

#include <QObject>
#include <QPointer>
#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <QString>
#include <QTimer>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <stop_token>
#include <vector>

class QFileDialog;
class QKeyEvent;
class QMainWindow;
class QMessageBox;
class QSessionManager;
class QWheelEvent;

namespace tavolin {

class CropBar;
class CropOverlayView;
class HelpView;
class Mailbox;
class PictureReader;
class SearchField;
class TextLabel;
class ViewerView;

/// Made before the event loop runs and destroyed after it has ended. Whoever makes it calls
/// applicationDidFinishLaunching() once, before anything else.
class Viewer : public QObject
{
    Q_OBJECT

public:
    /// Moves a file to the Trash, on the trash queue; moveToTrash() unless a test brings its own.
    using Trash = std::function<Failure(const std::filesystem::path &)>;

    /// @p mailbox carries results back to the main thread, @p reader reads the pictures; both must
    /// outlive the viewer.
    Viewer(Mailbox &mailbox, const PictureReader &reader, Trash trash = moveToTrash);
    ~Viewer() override;

    // Start-up: app/Viewer.cpp
    /// Builds the window and shows what @p options ask for.
    void applicationDidFinishLaunching(const LaunchOptions &options);
    /// Opens the first of the folders and files @p urls that the desktop hands over; the others
    /// don't count. Before the start it is kept until then. The one function that may be called
    /// earlier.
    void applicationOpen(const std::vector<std::filesystem::path> &urls);
    /// Brings the window, and a dialog over it, to the front, as far as the desktop allows.
    void activate();
    /// What the view paints.
    [[nodiscard]] const ImageLayer &imageLayer() const { return m_shell.imageLayer; }
    /// Puts everything where it belongs after the view has changed its size.
    void viewResized();

    // Labels: app/Labels.cpp
    /// Shows @p text on the status line, for 1.4 seconds if @p autoClear, else until replaced.
    void showStatus(const QString &text, bool autoClear);
    /// Whether a message is going to be cleared by itself.
    [[nodiscard]] bool isStatusTemporary() const { return m_shell.statusTimer.isActive(); }
    /// Shows @p text on the info line.
    void showInfo(const QString &text);
    /// Rebuilds the info line from the list and the target; leaves it alone without a list.
    void updateInfoText();

    // Keys: app/Keys.cpp
    /// Carries out the command of a key press; false when it has none.
    bool handleKey(const QKeyEvent &event);
    /// Shows the help page, or hides it.
    void toggleHelp();

    // Wheel and trackpad: interact/ScrollNavigation.cpp
    /// Steps by what @p event adds to the travel so far; does nothing while something else is on
    /// top.
    void handleScroll(const QWheelEvent &event);

    // The loupe, while the mouse is held: interact/Loupe.cpp. Positions are in view points.
    /// Shows the picture at 100 %, the point of it under @p position staying there.
    void zoomBegin(QPointF position);
    /// Moves it along with the pointer, one to one.
    void zoomDrag(QPointF position);
    /// Returns to the fitted picture.
    void zoomEnd();

    // Jumping to a name: interact/FilenameJump.cpp
    /// Opens the field and gives it the keyboard; does nothing while it is open.
    void openSearch();
    /// Closes it and gives the keyboard back to the view.
    void closeSearch();

    // Folders: browse/FolderOpening.cpp
    /// Lets the user choose a folder to open.
    void openDialog();
    /// Opens a folder, or the folder of a file at that file. Does nothing when nothing is there.
    void openPath(const std::filesystem::path &url);
    /// Lists, sorts and shows @p folder, starting at @p startAt if that is in it.
    void openFolder(const std::filesystem::path &folder,
                    const std::optional<std::filesystem::path> &startAt);

    // The file of the picture on screen: fileops/CopyToHL.cpp, fileops/DeleteCurrent.cpp
    /// Copies it, unchanged, to the folder "HL" beside it; waits for the disk.
    void copyToHL();
    /// Moves it to the Trash in the background; then it leaves the list.
    void deleteCurrent();

    // Showing pictures: browse/LoadPump.cpp
    /// Moves the target by @p step, stopping at the ends of the list.
    void navigate(int step);
    /// Moves the target to @p index, if that is in the list; not in crop mode.
    void jumpTo(int index);
    /// Where the picture may lie, and where it lies, in view points.
    [[nodiscard]] QRectF imageAreaRect() const;
    [[nodiscard]] QRectF fitRect() const;
    /// The longest side to decode for the window's present screen, in pixels.
    [[nodiscard]] int maxPixel() const;

    // Edits of the picture on screen: editing/EditHistory.cpp
    /// Takes away the newest edit step; does nothing in crop mode.
    void undoEdit();
    /// Writes the edited picture into the folder Edit beside its source: fileops/SaveEdited.cpp
    void saveEdited();

    // Crop mode: editing/CropMode.cpp
    /// Lays a crop box over the picture on screen; does nothing without one.
    void enterCrop();
    /// Takes the box away; nothing is recorded.
    void exitCrop();
    /// Rotates and crops the full picture in the background, then leaves crop mode.
    void applyCrop();
    /// Turns the picture under the box by the present angle.
    void updateCropRotation();
    /// The size, in pixels, of the picture that a crop would be cut from; none while unknown.
    [[nodiscard]] std::optional<QSizeF> cropWorkingSize() const;
    /// Pixels of that picture for each view point; none while unknown.
    [[nodiscard]] std::optional<double> imagePixelScale() const;

    // The self-test: selftest/SelfTest.cpp
    /// Drives the viewer through its folder, a crop, a save and a rotation, prints what it finds
    /// and ends the program. After a start with isBench.
    void runBench();

    // Quitting: app/QuitGuard.cpp
    /// Whether the program may end now. If not, the user is being asked, and it ends by itself
    /// once the answer allows.
    [[nodiscard]] bool applicationShouldTerminate();

private:
    void buildMenu();
    void buildWindow();
    void layoutLabels();
    void toggleFullScreen();

    void listChanged();
    void showNothing(const QString &info);
    void deletionFinished(const Failure &failure, const std::filesystem::path &url,
                          std::uint64_t opening);
    void removeFromList(int index);

    void pumpLoad();
    void loadFinished(const DisplayPicture &picture, int index, std::uint64_t generation);
    void display(const DisplayPicture &picture, int index);
    void showThumb(const DisplayPicture &picture);
    void refreshRendition();
    [[nodiscard]] bool isInList(int index) const;
    [[nodiscard]] bool isCurrentShown() const;
    [[nodiscard]] const std::filesystem::path &currentUrl() const;
    [[nodiscard]] DisplayTarget displayTarget() const;

    void schedulePrefetch();
    void prefetchNeighbors();
    void prefetchFinished(const DisplayPicture &picture, int index, std::uint64_t generation);

    void scheduleExif();
    void loadExif();
    void exifLoaded(const PhotoInfo &info, int index, std::uint64_t generation);

    void setZoomFrame(const QRectF &frame);
    void dropFullImage();
    void showFullImage(const Image &image, int token);
    void prepareSearch();
    void searchTextChanged(const QString &text);

    void setEdited(const EditedPicture &picture);
    void showEdited(const EditedPicture &picture);
    void resetEdits();
    void dropEditJobs();
    void undoFinished(const EditedPicture &picture, std::size_t stepsLeft, int token);

    void handleCropKey(std::optional<KeyCode> key, bool shift);
    void cropFinished(const CropResult &result, int session);
    void endCrop();
    void turnBy(double step);
    [[nodiscard]] const Image &previewBase();
    [[nodiscard]] double neededPreviewScale() const;
    void cropBarRatio(RatioPreset preset);
    void cropBarCustom();
    void cropBarFlip();
    void cropBarRotateL();
    void cropBarRotateR();
    void cropBarAngleReset();
    void cropBarApply();
    void cropBarCancel();
    void buildCropBar();
    void updateCropBar();
    void updateCropStatus();
    void editLayoutChanged();
    void askCustomRatio();
    [[nodiscard]] std::optional<QSizeF> editSourceSize() const;
    [[nodiscard]] std::optional<QSizeF> appliedSize() const;

    void benchStep();
    void reportNavigation();
    void runBenchEditTest();
    void runBenchRotateTest();

    bool eventFilter(QObject *watched, QEvent *event) override;
    void guardQuitting();
    [[nodiscard]] bool mayQuit() const;
    void askToQuit();
    void answerSessionEnd(QSessionManager &session);

    struct Shell
    {
        std::unique_ptr<QMainWindow> window;
        ViewerView *view = nullptr; // this and the labels belong to the window
        ImageLayer imageLayer;
        TextLabel *infoLabel = nullptr;
        TextLabel *detailLabel = nullptr;
        TextLabel *statusLabel = nullptr;
        QTimer statusTimer;
        HelpView *helpView = nullptr; // while shown; the view's
        QPointer<QFileDialog> folderDialog;
        QPointer<QMessageBox> quitQuestion;
        bool isQuitAllowed = false; // the user gives the unsaved edits up
        bool benchMode = false;
        std::optional<std::filesystem::path> pendingOpen; // handed over before the start
    };

    struct Browse
    {
        std::vector<std::filesystem::path> imageList;
        std::uint64_t opening = 0;         // how many folders have been opened
        std::uint64_t generation = 0;      // of the list: results for an older one don't apply
        int targetIndex = 0;               // where the user wants to be
        int currentIndex = 0;              // whose picture is on screen
        std::uint64_t shownGeneration = 0; // of the list that the picture on screen was shown for
        bool isLoading = false;            // a decode started by the pump is under way
        ThumbCache cache;
        Image currentThumb;
        std::optional<QSizeF> displaySize;     // of currentThumb, in pixels
        std::optional<QSize> currentPixelSize; // of the file on screen, once known
    };

    struct Prefetch
    {
        QTimer prefetchTimer;
        std::set<int> inflight; // indices of the present list that are being prefetched
    };

    struct PhotoLine
    {
        QTimer exifTimer;
    };

    struct Zoom
    {
        bool zooming = false;
        QPointF zoomLastP;
        int zoomLoadToken = 0;          // raised by whatever makes a full picture unwanted
        std::stop_source fullImageLoad; // ends the decode that was asked for last
    };

    struct Deletion
    {
        std::set<std::filesystem::path> underWay; // asked for and not finished
    };

    struct Search
    {
        SearchField *searchField = nullptr; // while open; the view's
        std::optional<FileSearch> names;    // while open, of the list of this generation
        std::uint64_t generation = 0;
    };

    struct Edit
    {
        Image editedImage;           // at full size, with all of editOps; null without edits
        std::vector<EditOp> editOps; // oldest first
        bool editsUnsaved = false;
        int pictureToken = 0;  // raised when the edits are dropped: undos before that don't apply
        int undosUnderWay = 0; // since then
        std::stop_source jobs; // ends the crops and undos under way
    };

    struct Crop
    {
        bool cropMode = false;
        int session = 0; // counts the times that crop mode was entered
        // Both while in crop mode, and the view's.
        CropOverlayView *cropOverlay = nullptr;
        CropBar *cropBar = nullptr;
        double cropAngle = 0;
        Image cropBaseThumb;     // the display image as it was before any rotation
        Image previewBase;       // the same, no larger than rotating it for the screen needs
        double previewScale = 0; // its size to that of cropBaseThumb
        Image cropBaseRendition; // and what was on screen for it outside crop mode
    };

    struct SelfTest
    {
        QTimer timer;
        std::set<int> framesShown; // indices seen on screen
        int steps = 0;
    };

    Shell m_shell;
    Browse m_browse;
    Prefetch m_prefetch;
    PhotoLine m_photoLine;
    Zoom m_zoom;
    WheelState m_wheel;
    Search m_search;
    Deletion m_deletion;
    Edit m_edit;
    Crop m_crop;
    SelfTest m_selfTest;
    Mailbox &m_mailbox;
    const PictureReader *m_reader;
    Trash m_trash;
    // Last, so that their jobs end first.
    SerialQueue m_loadQueue{"load", QualityOfService::UserInitiated};
    SerialQueue m_prefetchQueue{"prefetch", QualityOfService::Utility};
    SerialQueue m_trashQueue{"trash", QualityOfService::UserInitiated, WaitingJobs::Run};
};

} // namespace tavolin
