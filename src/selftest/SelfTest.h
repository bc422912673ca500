#pragma once
// The self-test run: drives the viewer through a folder, a crop, a save and a rotation, and prints
// what it finds. The pauses stand in for the ends of background work, which simply gets that time.

#include <QObject>
#include <QRectF>
#include <QTimer>

#include <set>

namespace tavolin {

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
    SelfTest(Browser &browser, CropMode &cropMode, Editor &editor, FileWork &fileWork,
             const PictureReader &reader);

    /// Begins the run, which ends the program, once what is being opened is there.
    void runBench();

private:
    void benchStep();
    void reportNavigation();
    void runBenchEditTest();
    void saveAndReport();
    void runBenchRotateTest();

    Browser &m_browser;
    CropMode &m_cropMode;
    Editor &m_editor;
    FileWork &m_fileWork;
    const PictureReader &m_reader;
    QTimer m_timer;
    std::set<int> m_framesShown; // indices seen on screen
    int m_steps = 0;
};

} // namespace tavolin
