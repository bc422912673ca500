#include "app/HelpView.h"

#include "platform/KeyNames.h"
#include "screen/OverlayGeometry.h"
#include "screen/TextLabel.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QStringList>

#include <algorithm>
#include <cmath>

namespace tavolin {

namespace {

constexpr HelpRow ROWS[] = {
    {u"←/→/Space", u"เลื่อนดูรูป (กดค้าง = เร็ว)"},
    {u"คลิกค้าง", u"ซูม 100% + ลากแพน"},
    {u"A", u"คัดลอกไปโฟลเดอร์ HL"},
    {u"D", u"ลบลงถังขยะ"},
    {u"X หรือ T", u"ครอป+หมุน ในขั้นตอนเดียว"},
    {u"", u"(ลาก/ลูกศร=กรอบ  [ ]=หมุน  F=สลับกรอบตั้ง-นอน  1-6=สัดส่วน  Enter=ตกลง)"},
    {u"S", u"บันทึกภาพที่แก้ไข → Edit/"},
    {UNDO_KEY, u"ย้อนการแก้ไข"},
    {u"J", u"ค้นหาชื่อไฟล์"},
    {u"O", u"เปิดโฟลเดอร์    F เข้า/ออกเต็มจอ    H ปิดหน้านี้"},
    {u"Esc", u"ออกจากแอป"},
};

// All in view points.
constexpr int FONT_SIZE = 15;
constexpr int MARGIN = 28;
constexpr int CORNER_RADIUS = 12;
/// Where the descriptions begin, from where the keys do.
constexpr int TAB_STOP = 130;
/// Between one line and the next, so that Thai marks above and below don't meet.
constexpr int LINE_SPACING = 7;

constexpr QColor BACKGROUND{0, 0, 0, 217}; // 85 %

double lineHeight()
{
    return QFontMetricsF(interfaceFont(FONT_SIZE)).height();
}

QSize textSize()
{
    double width = 0;
    for (const HelpRow &row : ROWS) {
        const QFontMetricsF metrics(helpFont(row));
        width = std::max(width, TAB_STOP + metrics.horizontalAdvance(row.description.toString()));
    }
    const double height = lineHeight() * std::size(ROWS) + LINE_SPACING * (std::size(ROWS) - 1.0);
    return {static_cast<int>(std::ceil(width)), static_cast<int>(std::ceil(height))};
}

} // namespace

std::span<const HelpRow> helpRows()
{
    return ROWS;
}

QFont helpFont(const HelpRow &row)
{
    QFont font = interfaceFont(FONT_SIZE);
    if (row.keys.isEmpty())
        font.setWeight(QFont::Normal);
    return font;
}

QString helpText()
{
    QStringList lines;
    for (const HelpRow &row : ROWS)
        lines.append(row.keys.toString() + u'\t' + row.description.toString());
    return lines.join(u'\n');
}

HelpView::HelpView(QWidget *parent) : QWidget(parent)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAccessibleName(helpText());
    resize(textSize().grownBy({MARGIN, MARGIN, MARGIN, MARGIN}));
    centre();
    show();
}

void HelpView::centre()
{
    setGeometry(helpRect(parentWidget()->size(), size()));
}

void HelpView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(BACKGROUND);
    painter.drawRoundedRect(rect(), CORNER_RADIUS, CORNER_RADIUS);

    painter.setPen(Qt::white);
    double baseline = MARGIN + QFontMetricsF(interfaceFont(FONT_SIZE)).ascent();
    for (const HelpRow &row : ROWS) {
        painter.setFont(helpFont(row));
        painter.drawText(QPointF(MARGIN, baseline), row.keys.toString());
        painter.drawText(QPointF(MARGIN + TAB_STOP, baseline), row.description.toString());
        baseline += lineHeight() + LINE_SPACING;
    }
}

} // namespace tavolin
