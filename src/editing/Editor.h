#pragma once
// The edits of the picture on screen: steps over an untouched file. Undo replays all but the last.

#include "editing/EditJobs.h"
#include "editing/EditOp.h"
#include "pixels/Image.h"

#include <QObject>
#include <QSize>

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <optional>
#include <stop_token>
#include <vector>

namespace tavolin {

class BackgroundQueue;
class Browser;
class Labels;
class Loupe;
class PictureReader;
class Screen;

/// Owns the steps, the edited picture and the work on it. The steps lead from the file to the
/// edited picture, except during an undo, when the list is already shorter.
class Editor : public QObject
{
    Q_OBJECT

public:
    Editor(Browser &browser, Screen &screen, Labels &labels, Loupe &loupe,
           BackgroundQueue &loadQueue, const PictureReader &reader);

    /// Takes away the newest step; does nothing in crop mode.
    void undoEdit();
    /// Does @p command: at once, or when the undos under way have ended, whatever is undone after
    /// it was given. By then the edits must not have been forgotten, or it is never done.
    void afterUndos(std::function<void()> command);
    [[nodiscard]] bool isUndoing() const { return m_undosUnderWay > 0; }
    /// Whether there is such a command that has not been done.
    [[nodiscard]] bool hasWaitingCommands() const { return !m_afterUndos.empty(); }
    /// Forgets all edits: another picture takes the place of this one.
    void resetEdits();

    /// Cuts what @p request says out of the picture, in the background, and hands the result, null
    /// if that failed, to @p use, unless the picture or its edits have changed by then, or another
    /// crop has been asked for. Does nothing where the same one is under way; ends the search for
    /// the full size. editSourceSize() must be known.
    void crop(const CropRequest &request, std::function<void(const CropResult &)> use);
    /// Tells @p use how many pixels the full picture has that a crop cuts, where only its decode
    /// says that; empty if it can't be decoded. Never, if the picture or its edits have changed by
    /// then.
    void findFullSize(std::function<void(QSize)> use);
    /// Nobody wants to know that any more.
    void dropSizeSearch();
    /// Makes @p result, which is not null, the newest state, and shows it.
    void record(const CropResult &result);

    /// Shows the edited picture, if there is one, in the colours of the monitor as they are now.
    void refreshColors();

    /// Says that @p saved is on the disk. Counts only if that is still the edited picture.
    void markSaved(const Image &saved);
    [[nodiscard]] bool editsUnsaved() const { return m_editsUnsaved && isEdited(); }

    /// At full size, with all steps; null without edits.
    [[nodiscard]] const Image &editedImage() const { return m_editedImage; }
    [[nodiscard]] bool isEdited() const { return !m_editedImage.isNull(); }
    [[nodiscard]] bool hasSteps() const { return !m_editOps.empty(); }
    /// Another number each time that the edits are forgotten.
    [[nodiscard]] int pictureToken() const { return m_pictureToken; }
    /// Pixels of the picture that the next step works on; empty while unknown.
    [[nodiscard]] std::optional<QSize> editSourceSize() const;

Q_SIGNALS:
    /// All edits have been forgotten.
    void editsDropped();
    /// In crop mode: the picture that is on screen is there in the colours of the monitor.
    void recolored(const DisplayPicture &picture);

private:
    /// An undo under way.
    struct Undo
    {
        std::size_t stepsLeft = 0;
        std::chrono::steady_clock::time_point asked;
    };

    [[nodiscard]] std::function<bool()> whileUnchanged(const std::stop_token &stop) const;
    void setEdited(const EditedPicture &picture);
    void showEdited(const EditedPicture &picture);
    void showRecolored(const DisplayPicture &picture);
    void undoFinished(const Undo &undo, const EditedPicture &picture);
    void showUndone(const Undo &undo, const EditedPicture &picture);
    void tellUndone(const Undo &undo, const QString &text);
    void dropEditJobs();
    void dropCrop();

    /// What waits for undos.
    struct Waiting
    {
        int undos = 0; // that have not ended
        std::function<void()> command;
    };

    Browser &m_browser;
    Screen &m_screen;
    Labels &m_labels;
    Loupe &m_loupe;
    BackgroundQueue &m_loadQueue;
    const PictureReader &m_reader;
    Image m_editedImage;
    std::vector<EditOp> m_editOps; // oldest first
    bool m_editsUnsaved = false;
    int m_pictureToken = 0;  // raised when the edits are dropped: undos before that don't apply
    int m_undosUnderWay = 0; // since then
    int m_stepsToken = 0;    // raised when the steps change: crops of what was before don't apply
    std::deque<Waiting> m_afterUndos;          // as it was given
    std::stop_source m_jobs;                   // ends the undos under way
    std::optional<CropRequest> m_cropUnderWay; // the newest, until it has ended
    std::stop_source m_cropping;               // ends that
    std::stop_source m_sizeSearch;             // ends the search for the full size
};

} // namespace tavolin
