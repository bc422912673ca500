#pragma once
// What the tests of the whole program share: a virtual screen with a user before it, a folder of
// pictures and the viewer. Coordinates are pixels of the screen.

#include "e2e/ViewerProcess.h"
#include "e2e/WaitUntil.h"
#include "e2e/XClient.h"
#include "e2e/XServer.h"
#include "pictures/Picture.h"

#include <QImage>
#include <QProcessEnvironment>
#include <QRect>
#include <QRgb>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>

namespace tavolin {

/// Where a picture of three to two is on the screen: as high as that, and in the middle.
inline constexpr QRect LANDSCAPE_RECT{150, 0, 1620, 1080};

/// The info line, and the part of it that is left of every picture above: black but for the text,
/// and wide enough for the position and the beginning of the name.
inline constexpr QRect INFO_RECT{20, 16, 1880, 22};
inline constexpr QRect COUNTER_RECT{20, 16, 130, 22};

/// The beginning of the second line, which has the details of the picture.
inline constexpr QRect DETAIL_START_RECT{20, 42, 130, 18};

inline constexpr QRgb BLACK = 0xff000000;
inline constexpr QRgb LABEL_COLOR = 0xff00d4ff;
inline constexpr QRgb DETAIL_COLOR = 0xff00b4d9; // 85 % over black

/// Whether @p image is not null and all of @p color.
[[nodiscard]] bool isAll(const QImage &image, QRgb color);

/// Whether text in @p color is on @p image. The edges of letters are mixed with what is behind
/// them, but some pixels are inside a stroke.
[[nodiscard]] bool hasText(const QImage &image, QRgb color);

/// Starts with a screen, an American keyboard and an empty folder; skips where there can be no
/// virtual screen.
class ViewerTest : public testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    /// Replaces the screen by one whose keyboard has another layout, and @p option as XServer says,
    /// or that has another size.
    [[nodiscard]] testing::AssertionResult
    startServer(const QString &layout, const QString &option = {}, QSize size = SCREEN_RECT.size());

    /// Starts the viewer on the screen, or in the compositor that listens at @p waylandSocket.
    void startViewer(const QStringList &arguments, const QString &waylandSocket = {});

    /// Starts the viewer on the folder and waits for its first picture.
    [[nodiscard]] testing::AssertionResult openFolder();

    [[nodiscard]] std::filesystem::path pathOf(const std::string &name) const;

    void addPicture(const std::string &name, const pictures::PictureSpec &spec) const;

    /// Writes a picture that says it is number @p index (from 1) of @p count.
    void addPicture(const std::string &name, int index, int count, QSize size = {1200, 800}) const;

    /// Writes IMG_1001.jpg and so on, numbered from 1.
    void addPictures(int count, QSize size = {1200, 800}) const;

    void tap(int key);

    /// The number of the picture that fills @p rect; empty when none does.
    [[nodiscard]] std::optional<int> shownIndex(const QRect &rect = LANDSCAPE_RECT) const;
    [[nodiscard]] testing::AssertionResult waitForPicture(int index,
                                                          const QRect &rect = LANDSCAPE_RECT);

    /// Taps @p key and waits until the position is written anew.
    [[nodiscard]] bool tapMovesCounter(int key);

    /// Waits until the second line is there: from then on nothing changes on its own, and the
    /// neighbours are ready.
    [[nodiscard]] bool waitForDetails();

    /// Waits for the viewer's end; empty when it stays or crashes.
    [[nodiscard]] std::optional<int> waitForExit();

    QTemporaryDir m_folder;
    QString m_busAddress;            // of the session bus for the viewer; empty: none
    QProcessEnvironment m_additions; // to the viewer's environment
    std::optional<XServer> m_server;
    std::optional<XClient> m_client;
    std::optional<ViewerProcess> m_viewer;
};

} // namespace tavolin
