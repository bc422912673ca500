#pragma once
// What becomes of the file of the picture on screen: a copy for the keepers, the Trash for the
// rejected, and an edit saved beside it.

#include "fileops/FileJobs.h"
#include "fileops/SavedFiles.h"
#include "platform/Failure.h"

#include <QObject>
#include <QString>
#include <QTimer>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <vector>

namespace tavolin {

class Browser;
class CropMode;
class Editor;
class Labels;
class Mailbox;
class PictureReader;

/// Owns the work that has been asked for. Each piece is done in the background and ends in a
/// message on the status line.
class FileWork : public QObject
{
    Q_OBJECT

public:
    /// Moves a file to the Trash, in the background; moveToTrash() unless a test brings its own.
    using Trash = std::function<Failure(const std::filesystem::path &)>;

    /// @p mailbox carries results back to the main thread.
    FileWork(Browser &browser, Editor &editor, CropMode &cropMode, Labels &labels, Mailbox &mailbox,
             const PictureReader &reader, Trash trash);

    /// Copies it, unchanged, to the folder "HL" beside it.
    void copyToHL();
    /// Moves it to the Trash; then it leaves the list.
    void deleteCurrent();
    /// Writes the edited picture, as it is when the undos asked for so far have ended, into the
    /// folder "Edit" beside its source.
    void saveEdited();

    /// What has not ended.
    [[nodiscard]] const FileJobs &jobs() const { return m_jobs; }

    /// Lets deletions that end do nothing to the list until they are let go.
    void holdDeletions() { m_areDeletionsHeld = true; }
    [[nodiscard]] bool holdsDeletions() const { return m_areDeletionsHeld; }
    /// Does what has been held back.
    void letDeletionsGo();

Q_SIGNALS:
    /// Work of this kind has ended, and its message is there.
    void ended(FileJobKind kind, bool isDone);

private:
    using Clock = FileJobs::Clock;

    /// A deletion as it was asked for.
    struct Deletion
    {
        std::filesystem::path url;
        int index = 0; // in the list of that time
        std::uint64_t opening = 0;
    };

    /// Whether there is a file to act on, and no picture of another list on screen.
    [[nodiscard]] bool canAct() const;
    void add(FileJobKind kind, Image edited, std::function<Failure(const Progress &)> work,
             std::function<void(const Failure &)> tellResult);
    void deletionFinished(const Failure &failure, const Deletion &asked);
    void tellOfLostSave(const QString &failure, const std::filesystem::path &source);
    void tellOfWork();
    [[nodiscard]] bool isStatusOfWork() const;

    Browser &m_browser;
    Editor &m_editor;
    CropMode &m_cropMode;
    Labels &m_labels;
    const PictureReader &m_reader;
    Trash m_trash;
    QTimer m_slowness; // runs while work may turn out to take long
    bool m_areDeletionsHeld = false;
    std::vector<std::function<void()>> m_heldDeletions;
    /// A save that failed after its picture had been left.
    struct LostSave
    {
        QString failure;
        std::filesystem::path source;
    };
    std::vector<LostSave> m_lostSaves; // those that the status line speaks of until a key
    SavedFiles m_saves;                // the jobs use it
    FileJobs m_jobs;
};

} // namespace tavolin
