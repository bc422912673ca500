#include "app/FileWorkFixture.h"

#include <QCoreApplication>
#include <QMainWindow>

namespace tavolin::test {

std::optional<JpegMetadata> SlowMetadataReader::sourceMetadata(const std::filesystem::path &url,
                                                               QSize newSize) const
{
    {
        std::unique_lock lock(m_mutex);
        ++m_begun;
        m_changed.wait(lock, [this] { return !m_isGateClosed; });
    }
    return InProcessReader::sourceMetadata(url, newSize);
}

void SlowMetadataReader::closeGate()
{
    const std::lock_guard lock(m_mutex);
    m_isGateClosed = true;
}

void SlowMetadataReader::openGate()
{
    const std::lock_guard lock(m_mutex);
    m_isGateClosed = false;
    m_changed.notify_all();
}

int SlowMetadataReader::begun() const
{
    const std::lock_guard lock(m_mutex);
    return m_begun;
}

FileWorkFixture::FileWorkFixture()
{
    viewer = std::make_unique<Viewer>(mailbox, slow, trash.trash());
}

FileWorkFixture::~FileWorkFixture()
{
    slow.openGate();
    trash.openGate();
    viewer.reset(); // before its reader
}

testing::AssertionResult FileWorkFixture::openAndCrop()
{
    if (const auto result = openPicturesAsUser(); !result)
        return result;
    if (!crop(LEFT_HALF))
        return testing::AssertionFailure() << "the picture is not cropped";
    return testing::AssertionSuccess();
}

testing::AssertionResult FileWorkFixture::startSave()
{
    slow.closeGate();
    const int before = slow.begun();
    press(Qt::Key_S);
    if (!waitFor([&] { return slow.begun() > before; }))
        return testing::AssertionFailure() << "no save begins";
    return testing::AssertionSuccess();
}

bool FileWorkFixture::stays(const std::function<void()> &action) const
{
    const bool hasEnded = endsTheApplication([&] {
        action();
        serveWaitingEvents();
        if (window->isVisible())
            QCoreApplication::exit(1);
    });
    return !hasEnded;
}

bool FileWorkFixture::waitForSecond() const
{
    return waitFor(
        [this] { return viewer->screen().imageLayer().contents.row(0)[0] == 0xff112233; });
}

} // namespace tavolin::test
