#include "e2e/ViewerTest.h"

#include "pictures/Writing.h"

#include <algorithm>
#include <cstdlib>

namespace tavolin {

using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

namespace {

/// Levels that a pixel may differ from a colour and still be taken for it.
constexpr int COLOR_TOLERANCE = 30;

bool isNear(QRgb pixel, QRgb color)
{
    return std::max({std::abs(qRed(pixel) - qRed(color)), std::abs(qGreen(pixel) - qGreen(color)),
                     std::abs(qBlue(pixel) - qBlue(color))}) < COLOR_TOLERANCE;
}

} // namespace

bool isAll(const QImage &image, QRgb color)
{
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixel(x, y) != color)
                return false;
        }
    }
    return !image.isNull();
}

bool hasText(const QImage &image, QRgb color)
{
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (isNear(image.pixel(x, y), color))
                return true;
        }
    }
    return false;
}

void ViewerTest::SetUp()
{
    if (const QString reason = XServer::whyUnavailable(); !reason.isEmpty())
        GTEST_SKIP() << reason.toStdString();
    ASSERT_TRUE(m_folder.isValid());
    ASSERT_TRUE(startServer(u"us"_s));
}

void ViewerTest::TearDown()
{
    // QTemporaryDir does not reach names that are not UTF-8.
    m_viewer.reset();
    fs::remove_all(m_folder.path().toStdString());
}

testing::AssertionResult ViewerTest::startServer(const QString &layout, const QString &option,
                                                 QSize size)
{
    m_client.reset();
    m_server.emplace(layout, option, size);
    if (!m_server->error().isEmpty())
        return testing::AssertionFailure() << m_server->error().toStdString();
    m_client.emplace(m_server->displayName());
    return testing::AssertionSuccess();
}

void ViewerTest::startViewer(const QStringList &arguments, const QString &waylandSocket)
{
    m_viewer.emplace(QStringLiteral(TAVOLIN_VIEWER_PROGRAM), arguments, m_server->displayName(),
                     waylandSocket, m_busAddress, m_additions);
}

testing::AssertionResult ViewerTest::openFolder()
{
    startViewer({m_folder.path()});
    return waitForPicture(1);
}

fs::path ViewerTest::pathOf(const std::string &name) const
{
    return fs::path(m_folder.path().toStdString()) / name;
}

void ViewerTest::addPicture(const std::string &name, const pictures::PictureSpec &spec) const
{
    ASSERT_TRUE(pictures::writePicture(pictures::drawPicture(spec), spec, pathOf(name)));
}

void ViewerTest::addPicture(const std::string &name, int index, int count, QSize size) const
{
    addPicture(name, {.size = size, .index = index, .count = count, .detailed = false});
}

void ViewerTest::addPictures(int count, QSize size) const
{
    for (int index = 1; index <= count; ++index)
        addPicture("IMG_" + std::to_string(1000 + index) + ".jpg", index, count, size);
}

void ViewerTest::tap(int key)
{
    m_client->tapKey(key);
}

std::optional<int> ViewerTest::shownIndex(const QRect &rect) const
{
    return pictures::readIndex(m_client->screen(rect));
}

testing::AssertionResult ViewerTest::waitForPicture(int index, const QRect &rect)
{
    if (waitUntil([&] { return shownIndex(rect) == index; }))
        return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << "picture " << index << " does not appear; shown is " << shownIndex(rect).value_or(-1)
           << ". The viewer says: " << m_viewer->standardError().toStdString();
}

bool ViewerTest::tapMovesCounter(int key)
{
    const QImage before = m_client->screen(COUNTER_RECT);
    tap(key);
    return waitUntil([&] { return m_client->screen(COUNTER_RECT) != before; });
}

bool ViewerTest::waitForDetails()
{
    return waitUntil([&] { return hasText(m_client->screen(DETAIL_START_RECT), DETAIL_COLOR); });
}

std::optional<int> ViewerTest::waitForExit()
{
    if (!waitUntil([&] { return !m_viewer->isRunning(); }))
        return {};
    return m_viewer->exitCode();
}

} // namespace tavolin
