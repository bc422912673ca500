#pragma once
// The self-test run: drives the viewer through a folder, a crop, a save and a rotation, and prints
// what it finds. The pauses stand in for the ends of background work, which simply gets that time;
// that after a save begins when the save has ended.

#include <QObject>
#include <QRectF>
#include <QSize>
#include <QTimer>

#include <filesystem>
#include <optional>
#include <set>

namespace tavolin {

class BackgroundQueue;
class Browser;
class CropMode;
class Editor;
class FileWork;
class PictureReader;

/// Owns one run, after a start with "--bench".
class SelfTest : public QObject
{
    Q_OBJECT

public:
    /// What was saved is looked at on @p queue.
    SelfTest(Browser &browser, CropMode &cropMode, Editor &editor, FileWork &fileWork,
             BackgroundQueue &queue, const PictureReader &reader);

    /// Begins the run, which ends the program, once what is being opened is there.
    void runBench();

private:
    /// A save under way.
    struct Save
    {
        std::filesystem::path source; // which may have left the list when it is done
        QSize size;                   // in pixels
    };

    void benchStep();
    void reportNavigation();
    void runBenchEditTest();
    void save();
    void reportSave();
    void runBenchRotateTest();

    Browser &m_browser;
    CropMode &m_cropMode;
    Editor &m_editor;
    FileWork &m_fileWork;
    BackgroundQueue &m_queue;
    const PictureReader &m_reader;
    QTimer m_timer;
    std::set<int> m_framesShown; // indices seen on screen
    int m_steps = 0;
    std::optional<Save> m_saving;
};

} // namespace tavolin
