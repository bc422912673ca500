// The self-test run: drives the viewer through a folder, a crop, a save and a rotation, and prints
// what it finds. The pauses stand in for the ends of background work, which simply gets that time.

#include "app/Viewer.h"
#include "editing/CropOverlayView.h"
#include "fileops/Saving.h"
#include "pixels/PictureReader.h"
#include "selftest/BenchReport.h"

#include <QCoreApplication>

#include <chrono>
#include <cstdio>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace tavolin {

namespace {

constexpr auto STEP_INTERVAL = 25ms;
constexpr auto CATCH_UP_TIME = 1500ms;
constexpr auto CROP_TIME = 2000ms;
constexpr auto SAVE_TIME = 1000ms;
constexpr double TEST_ANGLE = 5.0;

void print(const QString &lines)
{
    std::puts(lines.toUtf8().constData());
    std::fflush(stdout);
}

/// Ends the program once the event loop runs.
void terminate()
{
    QTimer::singleShot(0, qApp, &QCoreApplication::quit);
}

} // namespace

void Viewer::runBench()
{
    if (m_browse.imageList.empty()) {
        print(u"BENCH: no images"_s);
        terminate();
        return;
    }
    m_selfTest.timer.start(STEP_INTERVAL);
}

void Viewer::benchStep()
{
    m_selfTest.framesShown.insert(m_browse.currentIndex);
    // In crop mode, which the user or the crop demo may have entered, the target stands still.
    if (isInList(m_browse.targetIndex + 1) && !m_crop.cropMode) {
        navigate(+1);
        ++m_selfTest.steps;
        return;
    }
    m_selfTest.timer.stop();
    QTimer::singleShot(CATCH_UP_TIME, this, &Viewer::reportNavigation);
}

void Viewer::reportNavigation()
{
    m_selfTest.framesShown.insert(m_browse.currentIndex);
    print(navigationReport({m_selfTest.steps, m_browse.targetIndex, m_browse.currentIndex,
                            static_cast<int>(m_selfTest.framesShown.size()),
                            m_browse.cache.count()}));
    runBenchEditTest();
}

void Viewer::runBenchEditTest()
{
    enterCrop();
    if (!m_crop.cropOverlay) {
        print(u"BENCH EDIT FAIL: no overlay"_s);
        terminate();
        return;
    }
    const QRectF image = m_crop.cropOverlay->imageBounds();
    m_crop.cropOverlay->setBox({image.topLeft(), image.size() / 2});
    applyCrop();
    QTimer::singleShot(CROP_TIME, this, [this] {
        if (m_edit.editedImage.isNull()) {
            print(u"BENCH EDIT FAIL: no editedImage"_s);
            terminate();
            return;
        }
        saveEdited();
        QTimer::singleShot(SAVE_TIME, this, [this, edited = m_edit.editedImage.size()] {
            const auto file = editedFile(currentUrl());
            print(saveReport(m_reader->readPixelSize(file), edited));
            const auto facts = m_reader->readPhotoFacts(file, {}).value_or(PhotoFacts());
            print(metadataReport(facts.metadata.make, static_cast<int>(facts.orientation)));
            runBenchRotateTest();
        });
    });
}

void Viewer::runBenchRotateTest()
{
    const QSizeF base = editSourceSize().value_or(QSizeF(0, 0));
    enterCrop();
    if (!m_crop.cropOverlay) {
        print(u"BENCH ROTATE FAIL: no overlay"_s);
        terminate();
        return;
    }
    m_crop.cropAngle = TEST_ANGLE;
    updateCropRotation();
    m_crop.cropOverlay->setBox(m_crop.cropOverlay->imageBounds());
    applyCrop();
    QTimer::singleShot(CROP_TIME, this, [this, base] {
        print(m_edit.editedImage.isNull()
                  ? u"BENCH ROTATE FAIL: no result"_s
                  : rotationReport(m_edit.editedImage.size(), inscribedSize(base, TEST_ANGLE)));
        terminate();
    });
}

} // namespace tavolin
