#pragma once
// What becomes of the file of the picture on screen: a copy for the keepers, the Trash for the
// rejected, and an edit saved beside it.

#include "platform/Failure.h"

#include <QObject>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <set>

namespace tavolin {

class BackgroundQueue;
class Browser;
class CropMode;
class Editor;
class Labels;
class PictureReader;

/// Owns the deletions under way. What it does ends in a message on the status line.
class FileWork : public QObject
{
    Q_OBJECT

public:
    /// Moves a file to the Trash, on the trash queue; moveToTrash() unless a test brings its own.
    using Trash = std::function<Failure(const std::filesystem::path &)>;

    /// @p trashQueue finishes what waits in it before the program ends.
    FileWork(Browser &browser, Editor &editor, CropMode &cropMode, Labels &labels,
             BackgroundQueue &trashQueue, const PictureReader &reader, Trash trash);

    /// Copies it, unchanged, to the folder "HL" beside it; waits for the disk.
    void copyToHL();
    /// Moves it to the Trash in the background; then it leaves the list.
    void deleteCurrent();
    /// Writes the edited picture into the folder "Edit" beside its source; waits for the disk.
    void saveEdited();

private:
    void deletionFinished(const Failure &failure, const std::filesystem::path &url,
                          std::uint64_t opening);

    Browser &m_browser;
    Editor &m_editor;
    CropMode &m_cropMode;
    Labels &m_labels;
    BackgroundQueue &m_trashQueue;
    const PictureReader &m_reader;
    Trash m_trash;
    std::set<std::filesystem::path> m_underWay; // asked for and not finished
};

} // namespace tavolin
