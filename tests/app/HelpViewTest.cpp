#include "app/HelpView.h"

#include "UndoKey.h"

#include "logic/Printing.h"
#include "screen/TextLabel.h"

#include <QFontMetricsF>
#include <QImage>
#include <QPainter>
#include <QPixmap>
#include <QtTest>

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace tavolin {
namespace {

/// How bright the page behind the panel is, and what is left of it below 85 % of black.
constexpr int PAPER = 200;
constexpr int SHADED_PAPER = 30;

constexpr int MARGIN = 28;
constexpr int DESCRIPTIONS = MARGIN + 130;

/// A bright page that counts what the mouse brings.
class Page : public QWidget
{
public:
    int mousePresses = 0;

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter(this).fillRect(rect(), QColor(PAPER, PAPER, PAPER));
    }
    void mousePressEvent(QMouseEvent *) override { ++mousePresses; }
};

class HelpViewTest : public testing::Test
{
protected:
    HelpViewTest()
    {
        page.resize(1000, 700);
        page.show();
        help = new HelpView(&page);
    }

    /// The panel as it looks on the page, at one pixel a point.
    [[nodiscard]] QImage picture() { return page.grab(help->geometry()).toImage(); }

    Page page;
    HelpView *help = nullptr; // belongs to the page
};

bool isText(QRgb pixel)
{
    return qRed(pixel) > 240 && qGreen(pixel) > 240 && qBlue(pixel) > 240;
}

/// The columns of @p image that hold white pixels.
std::vector<int> textColumns(const QImage &image)
{
    std::vector<int> columns;
    for (int x = 0; x < image.width(); ++x) {
        for (int y = 0; y < image.height(); ++y) {
            if (isText(image.pixel(x, y))) {
                columns.push_back(x);
                break;
            }
        }
    }
    return columns;
}

TEST(HelpRows, SayWhatTheKeysDo)
{
    const std::vector<std::pair<std::string, std::string>> expected{
        {"←/→/Space", "เลื่อนดูรูป (กดค้าง = เร็ว)"},
        {"คลิกค้าง", "ซูม 100% + ลากแพน"},
        {"A", "คัดลอกไปโฟลเดอร์ HL"},
        {"D", "ลบลงถังขยะ"},
        {"X หรือ T", "ครอป+หมุน ในขั้นตอนเดียว"},
        {"", "(ลาก/ลูกศร=กรอบ  [ ]=หมุน  F=สลับกรอบตั้ง-นอน  1-6=สัดส่วน  Enter=ตกลง)"},
        {"S", "บันทึกภาพที่แก้ไข → Edit/"},
        {UNDO_KEY_TEXT, "ย้อนการแก้ไข"},
        {"J", "ค้นหาชื่อไฟล์"},
        {"O", "เปิดโฟลเดอร์    F เข้า/ออกเต็มจอ    H ปิดหน้านี้"},
        {"Esc", "ออกจากแอป"},
    };
    std::vector<std::pair<std::string, std::string>> rows;
    for (const HelpRow &row : helpRows())
        rows.emplace_back(row.keys.toString().toStdString(),
                          row.description.toString().toStdString());
    EXPECT_EQ(rows, expected);
}

TEST(HelpRows, OnlyTheSixthIsNotMedium)
{
    std::vector<int> weights;
    for (const HelpRow &row : helpRows())
        weights.push_back(helpFont(row).weight());
    EXPECT_EQ(weights, (std::vector<int>{500, 500, 500, 500, 500, 400, 500, 500, 500, 500, 500}));
}

TEST_F(HelpViewTest, ShowsItselfInTheMiddle)
{
    EXPECT_TRUE(help->isVisible());
    EXPECT_EQ(help->x(), (1000 - help->width()) / 2);
    EXPECT_EQ(help->y(), (700 - help->height()) / 2);
}

TEST_F(HelpViewTest, IsInTheMiddleAgainAfterTheParentHasGrown)
{
    const QSize size = help->size();
    page.resize(1600, 1200);
    help->centre();
    EXPECT_EQ(help->geometry(),
              QRect(QPoint((1600 - size.width()) / 2, (1200 - size.height()) / 2), size));
}

TEST_F(HelpViewTest, SticksOutEvenlyOfANarrowParent)
{
    const QSize size = help->size();
    page.resize(size.width() - 100, size.height() - 60);
    help->centre();
    EXPECT_EQ(help->geometry(), QRect(QPoint(-50, -30), size));
}

TEST_F(HelpViewTest, LeavesTheKeyboardAlone)
{
    EXPECT_EQ(help->focusPolicy(), Qt::NoFocus);
}

TEST_F(HelpViewTest, LetsTheMouseThrough)
{
    EXPECT_EQ(page.childAt(500, 350), nullptr);
    QTest::mouseClick(page.windowHandle(), Qt::LeftButton, {}, {500, 350});
    EXPECT_EQ(page.mousePresses, 1);
}

TEST_F(HelpViewTest, PageShinesThroughTheMargin)
{
    const QImage image = picture();
    for (const QPoint point : {QPoint(14, 14), QPoint(image.width() / 2, 3),
                               QPoint(image.width() - 14, image.height() - 14)}) {
        const QRgb pixel = image.pixel(point);
        EXPECT_NEAR(qRed(pixel), SHADED_PAPER, 1);
        EXPECT_NEAR(qBlue(pixel), SHADED_PAPER, 1);
    }
}

TEST_F(HelpViewTest, CornersAreRound)
{
    const QImage image = picture();
    EXPECT_EQ(qRed(image.pixel(0, 0)), PAPER);
    EXPECT_EQ(qRed(image.pixel(image.width() - 1, image.height() - 1)), PAPER);
    // 12 points along the edge the arc has ended.
    EXPECT_NEAR(qRed(image.pixel(12, 0)), SHADED_PAPER, 1);
    EXPECT_NEAR(qRed(image.pixel(0, 12)), SHADED_PAPER, 1);
}

TEST_F(HelpViewTest, TextFillsThePanelButForTheMargins)
{
    const QImage image = picture();
    const std::vector<int> columns = textColumns(image);
    ASSERT_FALSE(columns.empty());
    EXPECT_NEAR(columns.front(), MARGIN, 3); // letters begin a little after their place
    EXPECT_NEAR(columns.back(), image.width() - MARGIN, 4);
}

TEST_F(HelpViewTest, LinesAreSevenPointsApart)
{
    const double line = QFontMetricsF(interfaceFont(15)).height();
    EXPECT_NEAR(help->height(), 11 * line + 10 * 7 + 2 * MARGIN, 1);
}

TEST_F(HelpViewTest, DescriptionsBeginAtTheTabStop)
{
    const std::vector<int> columns = textColumns(picture());
    // Between the longest key text and the descriptions nothing is written.
    const auto first = std::lower_bound(columns.begin(), columns.end(), DESCRIPTIONS);
    ASSERT_NE(first, columns.begin());
    ASSERT_NE(first, columns.end());
    EXPECT_NEAR(*first, DESCRIPTIONS, 3);
    EXPECT_LT(*std::prev(first), DESCRIPTIONS - 20);
}

TEST_F(HelpViewTest, OnlyTheSixthLineHasNoKey)
{
    const QImage image = picture();
    const double pitch = (image.height() - 2 * MARGIN + 7.0) / 11; // 7 points between the lines
    std::vector<int> withoutKey;
    for (int line = 1; line <= 11; ++line) {
        const int top = MARGIN + static_cast<int>((line - 1) * pitch);
        const QRect keys(0, top, DESCRIPTIONS, static_cast<int>(pitch));
        if (textColumns(image.copy(keys)).empty())
            withoutKey.push_back(line);
    }
    EXPECT_EQ(withoutKey, std::vector<int>{6});
}

} // namespace
} // namespace tavolin
