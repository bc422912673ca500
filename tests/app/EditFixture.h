#pragma once
// A viewer with its real decoder on a folder of small pictures, for tests that crop, undo and save.

#include "app/ViewerFixture.h"

#include "UndoKey.h"

#include <QRectF>
#include <QSize>
#include <QSizeF>

#include <filesystem>
#include <optional>
#include <string>

class QMessageBox;

namespace tavolin {

class CropBar;
class CropOverlayView;

namespace test {

/// The messages that tests wait for.
inline constexpr auto CROPPED =
    "✂️ เรียบร้อย — S=บันทึก  " UNDO_KEY_TEXT "=ย้อน";
inline constexpr auto BOX_TOO_SMALL = "❌ กรอบเล็กเกินไป";
inline constexpr auto BACK_TO_SOURCE =
    "↩️ กลับเป็นต้นฉบับแล้ว";
inline constexpr auto NOTHING_TO_UNDO = "ไม่มีการแก้ไขให้ย้อน";
inline constexpr auto EDITED_MARKER = "✏️ แก้ไขแล้ว";

class EditFixture : public ViewerFixture
{
protected:
    EditFixture();

    /// Writes 0.png, with a colour in each quarter of 400x300 pixels, and 1.png and 2.png in one
    /// colour, and shows the first in a view of 800x600 points, as a self-test run would.
    [[nodiscard]] testing::AssertionResult openPictures();
    /// The same as a user starts it, full screen and with the question before quitting.
    [[nodiscard]] testing::AssertionResult openPicturesAsUser();

    /// Waits until the picture on screen has @p size pixels.
    [[nodiscard]] bool waitForShown(QSize size) const;
    [[nodiscard]] QSize shownSize() const;

    [[nodiscard]] CropOverlayView *overlay() const;
    [[nodiscard]] CropBar *bar() const;

    /// In crop mode: lays the box around the part @p fraction of the picture on screen, of which
    /// (0, 0, 1, 1) is all.
    void setBox(const QRectF &fraction) const;
    /// Crops to that part and waits until it is done.
    [[nodiscard]] bool crop(const QRectF &fraction);

    [[nodiscard]] static QMessageBox *question();

    std::filesystem::path pictures;

private:
    void writePictures();
    [[nodiscard]] testing::AssertionResult waitForFirst();
};

/// The left half, top to bottom.
inline constexpr QRectF LEFT_HALF{0, 0, 0.5, 1};
inline constexpr QRectF TOP_HALF{0, 0, 1, 0.5};
inline constexpr QRectF TOP_LEFT_QUARTER{0, 0, 0.5, 0.5};
inline constexpr QRectF WHOLE{0, 0, 1, 1};

} // namespace test
} // namespace tavolin
