#include "selftest/SelfTest.h"

#include "browse/Browser.h"
#include "editing/CropMode.h"
#include "editing/CropOverlayView.h"
#include "editing/EditOp.h"
#include "editing/Editor.h"
#include "fileops/FileWork.h"
#include "fileops/Saving.h"
#include "pixels/PictureReader.h"
#include "platform/Background.h"
#include "selftest/BenchReport.h"

#include <QCoreApplication>

#include <chrono>
#include <cstdio>
#include <utility>

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

SelfTest::SelfTest(Browser &browser, CropMode &cropMode, Editor &editor, FileWork &fileWork,
                   BackgroundQueue &queue, const PictureReader &reader)
    : m_browser(browser), m_cropMode(cropMode), m_editor(editor), m_fileWork(fileWork),
      m_queue(queue), m_reader(reader)
{
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &SelfTest::benchStep);
    connect(&fileWork, &FileWork::ended, this, [this](FileJobKind kind) {
        if (kind == FileJobKind::Save && m_saving)
            QTimer::singleShot(SAVE_TIME, this, &SelfTest::reportSave);
    });
}

void SelfTest::runBench()
{
    if (m_browser.isOpening()) {
        connect(&m_browser, &Browser::openingEnded, this, &SelfTest::runBench,
                Qt::SingleShotConnection);
        return;
    }
    if (m_browser.imageList().empty()) {
        print(u"BENCH: no images"_s);
        terminate();
        return;
    }
    m_timer.start(STEP_INTERVAL);
}

void SelfTest::benchStep()
{
    m_framesShown.insert(m_browser.currentIndex());
    // In crop mode, which the user or the crop demo may have entered, the target stands still.
    if (m_browser.isInList(m_browser.targetIndex() + 1) && !m_cropMode.cropOverlay()) {
        m_browser.navigate(+1);
        ++m_steps;
        return;
    }
    m_timer.stop();
    QTimer::singleShot(CATCH_UP_TIME, this, &SelfTest::reportNavigation);
}

void SelfTest::reportNavigation()
{
    m_framesShown.insert(m_browser.currentIndex());
    print(navigationReport({m_steps, m_browser.targetIndex(), m_browser.currentIndex(),
                            static_cast<int>(m_framesShown.size()), m_browser.readyCount()}));
    runBenchEditTest();
}

void SelfTest::runBenchEditTest()
{
    m_cropMode.enterCrop();
    CropOverlayView *overlay = m_cropMode.cropOverlay();
    if (!overlay) {
        print(u"BENCH EDIT FAIL: no overlay"_s);
        terminate();
        return;
    }
    const QRectF image = overlay->imageBounds();
    overlay->setBox({image.topLeft(), image.size() / 2});
    m_cropMode.applyCrop();
    QTimer::singleShot(CROP_TIME, this, [this] {
        if (m_editor.isEdited()) {
            save();
            return;
        }
        print(u"BENCH EDIT FAIL: no editedImage"_s);
        terminate();
    });
}

void SelfTest::save()
{
    m_saving = {m_browser.currentUrl(), m_editor.editedImage().size()};
    m_fileWork.saveEdited();
}

void SelfTest::reportSave()
{
    const auto saving = std::exchange(m_saving, std::nullopt);
    if (!saving) // the user has saved, too
        return;
    struct Saved
    {
        std::optional<QSize> size;
        PhotoFacts facts;
    };
    m_queue.run<Saved>(
        this,
        {
            .work =
                [&reader = m_reader,
                 file = editedFile(saving->source)](const std::stop_token &stop) {
                    return Saved{
                        reader.readPixelSize(file),
                        reader.readPhotoFacts(file, Urgency::Now, stop).value_or(PhotoFacts())};
                },
            .use =
                [this, edited = saving->size](const Saved &saved) {
                    print(saveReport(saved.size, edited));
                    print(metadataReport(saved.facts.metadata.make,
                                         static_cast<int>(saved.facts.orientation)));
                    runBenchRotateTest();
                },
        });
}

void SelfTest::runBenchRotateTest()
{
    const QSizeF base = m_editor.editSourceSize().value_or(QSize(0, 0));
    m_cropMode.enterCrop();
    CropOverlayView *overlay = m_cropMode.cropOverlay();
    if (!overlay) {
        print(u"BENCH ROTATE FAIL: no overlay"_s);
        terminate();
        return;
    }
    m_cropMode.setCropAngle(TEST_ANGLE);
    overlay->setBox(overlay->imageBounds());
    m_cropMode.applyCrop();
    QTimer::singleShot(CROP_TIME, this, [this, base] {
        print(m_editor.isEdited()
                  ? rotationReport(m_editor.editedImage().size(), inscribedSize(base, TEST_ANGLE))
                  : u"BENCH ROTATE FAIL: no result"_s);
        terminate();
    });
}

} // namespace tavolin
