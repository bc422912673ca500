#include "editing/CropBar.h"

#include "editing/BarButton.h"
#include "logic/Printing.h"

#include <QAccessible>
#include <QLabel>
#include <QPainter>
#include <QSignalSpy>
#include <QtTest>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

using namespace Qt::StringLiterals;

namespace tavolin {
namespace {

/// A view that has the keyboard and counts what the mouse brings.
class View : public QWidget
{
public:
    View()
    {
        resize(1280, 800);
        setFocusPolicy(Qt::StrongFocus);
    }
    int mousePresses = 0;

protected:
    void mousePressEvent(QMouseEvent *) override { ++mousePresses; }
};

class CropBarTest : public testing::Test
{
protected:
    CropBarTest()
    {
        bar.place(view.size());
        view.show();
        view.activateWindow();
        view.setFocus();
    }

    /// What lies in the bar, from left to right.
    [[nodiscard]] std::vector<QWidget *> content() const
    {
        auto widgets = bar.findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly);
        std::sort(widgets.begin(), widgets.end(),
                  [](const QWidget *a, const QWidget *b) { return a->x() < b->x(); });
        return {widgets.begin(), widgets.end()};
    }

    [[nodiscard]] BarButton *button(const QString &label) const
    {
        for (BarButton *candidate : bar.findChildren<BarButton *>()) {
            if (candidate->text() == label)
                return candidate;
        }
        ADD_FAILURE() << "no button " << label.toStdString();
        return nullptr;
    }

    [[nodiscard]] QLabel *angle() const { return bar.findChild<QLabel *>(); }
    [[nodiscard]] QColor angleColor() const
    {
        return angle()->palette().color(QPalette::WindowText);
    }

    [[nodiscard]] std::vector<std::string> selected() const
    {
        std::vector<std::string> labels;
        for (QWidget *widget : content()) {
            const auto *candidate = dynamic_cast<BarButton *>(widget);
            if (candidate && candidate->isSelectedState())
                labels.push_back(candidate->text().toStdString());
        }
        return labels;
    }

    static void click(QWidget *widget) { QTest::mouseClick(widget, Qt::LeftButton); }

    int backgroundPaints = 0;
    View view;
    CropBar bar{[this](QPainter &painter) {
                    ++backgroundPaints;
                    painter.fillRect(view.rect(), Qt::black);
                },
                &view};
};

using Labels = std::vector<std::string>;

// Geometry

TEST_F(CropBarTest, ShowsItsControlsInOrder)
{
    Labels labels;
    for (QWidget *widget : content()) {
        if (const auto *candidate = dynamic_cast<BarButton *>(widget))
            labels.push_back(candidate->text().toStdString());
        else if (const auto *label = dynamic_cast<QLabel *>(widget))
            labels.push_back(label->text().toStdString());
        else
            labels.emplace_back("|");
    }
    EXPECT_EQ(labels, (Labels{"Free", "Original", "1:1", "4:3", "16:9", "Custom…", "⇄", "|", "↺",
                              "0.0°", "↻", "Reset", "|", "Apply ⏎", "Cancel"}));
}

TEST_F(CropBarTest, GroupsAreFurtherApartThanTheirMembers)
{
    const std::vector<QWidget *> widgets = content();
    std::vector<int> gaps;
    for (std::size_t i = 1; i < widgets.size(); ++i)
        gaps.push_back(widgets[i]->x() - widgets[i - 1]->x() - widgets[i - 1]->width());
    EXPECT_EQ(gaps, (std::vector<int>{8, 8, 8, 8, 8, 14, 8, 14, 8, 8, 8, 14, 14, 8}));
}

TEST_F(CropBarTest, LeavesMarginsAroundItsControls)
{
    const std::vector<QWidget *> widgets = content();
    EXPECT_EQ(widgets.front()->x(), 16);
    EXPECT_EQ(widgets.back()->x() + widgets.back()->width(), bar.width() - 16);
    const QWidget *highest = button(u"⇄"_s);
    EXPECT_EQ(highest->y(), 11);
    EXPECT_EQ(bar.height(), highest->height() + 22);
}

TEST_F(CropBarTest, ControlsHaveTheirNaturalSizeAndAreCentred)
{
    for (QWidget *widget : content()) {
        if (widget != angle()) {
            EXPECT_EQ(widget->size(), widget->sizeHint());
        }
        EXPECT_NEAR(widget->y() + widget->height() / 2.0, bar.height() / 2.0, 0.5);
    }
    EXPECT_EQ(angle()->width(), 64);
}

TEST_F(CropBarTest, FontsAreOfTheirSizes)
{
    EXPECT_EQ(button(u"Free"_s)->font().pixelSize(), 14);
    EXPECT_EQ(button(u"Apply ⏎"_s)->font().pixelSize(), 14);
    for (const QString &sign : {u"⇄"_s, u"↺"_s, u"↻"_s})
        EXPECT_EQ(button(sign)->font().pixelSize(), 17);
    EXPECT_EQ(angle()->font().pixelSize(), 15);
    EXPECT_EQ(angle()->font().weight(), QFont::DemiBold);
}

TEST_F(CropBarTest, FloatsInTheMiddleNearTheLowerEdge)
{
    EXPECT_EQ(bar.x(), (1280 - bar.width()) / 2);
    EXPECT_EQ(bar.y() + bar.height(), 800 - 14);
}

TEST_F(CropBarTest, FollowsTheView)
{
    const QSize before = bar.size();
    bar.place({1920, 1000});
    EXPECT_EQ(bar.geometry(),
              QRect(QPoint((1920 - before.width()) / 2, 1000 - 14 - before.height()), before));
}

TEST_F(CropBarTest, ButtonsMoveTogetherInANarrowView)
{
    bar.place({800, 600});
    EXPECT_EQ(bar.x(), 0);
    EXPECT_EQ(bar.width(), 800);
    const std::vector<QWidget *> widgets = content();
    EXPECT_EQ(widgets.back()->x() + widgets.back()->width(), 800 - 16);
    for (std::size_t i = 1; i < widgets.size(); ++i)
        EXPECT_GE(widgets[i]->x(), widgets[i - 1]->x() + widgets[i - 1]->width() + 8);
}

TEST_F(CropBarTest, SticksOutEvenlyOfATooNarrowView)
{
    bar.place({300, 600});
    EXPECT_EQ(bar.width(), bar.minimumSizeHint().width());
    EXPECT_EQ(bar.x(), (300 - bar.width()) / 2);
}

// What the buttons do

TEST_F(CropBarTest, RatioButtonsTellTheirRatio)
{
    std::vector<RatioPreset> chosen;
    QObject::connect(&bar, &CropBar::ratioChosen, &bar,
                     [&](RatioPreset preset) { chosen.push_back(preset); });
    for (const QString &label : {u"Free"_s, u"Original"_s, u"1:1"_s, u"4:3"_s, u"16:9"_s})
        click(button(label));
    EXPECT_EQ(chosen, (std::vector{RatioPreset::Free, RatioPreset::Original, RatioPreset::Square,
                                   RatioPreset::FourByThree, RatioPreset::SixteenByNine}));
}

TEST_F(CropBarTest, OtherButtonsEmitTheirSignalOnce)
{
    const std::map<QString, void (CropBar::*)()> expected{
        {u"Custom…"_s, &CropBar::customRatioRequested}, {u"⇄"_s, &CropBar::flipRequested},
        {u"↺"_s, &CropBar::rotateLeftRequested},        {u"↻"_s, &CropBar::rotateRightRequested},
        {u"Reset"_s, &CropBar::angleResetRequested},    {u"Apply ⏎"_s, &CropBar::applyRequested},
        {u"Cancel"_s, &CropBar::cancelRequested},
    };
    for (const auto &[clicked, own] : expected) {
        std::vector<std::string> emitted;
        QObject context;
        for (const auto &[label, emitter] : expected)
            QObject::connect(&bar, emitter, &context,
                             [&emitted, name = label] { emitted.push_back(name.toStdString()); });
        click(button(clicked));
        EXPECT_EQ(emitted, Labels{clicked.toStdString()});
    }
}

TEST_F(CropBarTest, HeldRotateButtonRepeats)
{
    QSignalSpy left(&bar, &CropBar::rotateLeftRequested);
    QTest::mousePress(button(u"↺"_s), Qt::LeftButton);
    EXPECT_EQ(left.count(), 0);
    while (left.count() < 3)
        ASSERT_TRUE(left.wait());
    QTest::mouseRelease(button(u"↺"_s), Qt::LeftButton);
}

TEST_F(CropBarTest, OnlyRotateButtonsRepeat)
{
    for (const BarButton *candidate : bar.findChildren<BarButton *>()) {
        const bool rotates = candidate->text() == u"↺"_s || candidate->text() == u"↻"_s;
        EXPECT_EQ(candidate->autoRepeat(), rotates) << candidate->text().toStdString();
        if (rotates) {
            EXPECT_EQ(candidate->autoRepeatDelay(), 350);
            EXPECT_EQ(candidate->autoRepeatInterval(), 120);
        }
    }
}

TEST_F(CropBarTest, MayBeEndedByItsOwnButton)
{
    auto *own = new CropBar([](QPainter &) {}, &view);
    own->place(view.size());
    own->show();
    const QPointer<CropBar> guard(own);
    QObject::connect(own, &CropBar::cancelRequested, own, &QObject::deleteLater);
    for (BarButton *candidate : own->findChildren<BarButton *>()) {
        if (candidate->text() == u"Cancel"_s)
            click(candidate);
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(guard.isNull());
}

// What it shows

TEST_F(CropBarTest, BeginsLevelAndFree)
{
    EXPECT_EQ(angle()->text(), u"0.0°"_s);
    EXPECT_EQ(selected(), Labels{"Free"});
}

TEST_F(CropBarTest, TurnedAngleIsAccentedAndALevelOneGrey)
{
    bar.refresh(45, u"Free"_s);
    EXPECT_EQ(angle()->text(), u"+45.0°"_s);
    EXPECT_EQ(angleColor(), QColor(0, 191, 255));
    bar.refresh(0, u"Free"_s);
    EXPECT_EQ(angle()->text(), u"0.0°"_s);
    EXPECT_EQ(angleColor(), QColor(255, 255, 255, 140)); // 55 %
}

TEST_F(CropBarTest, HundredthOfADegreeIsLevel)
{
    bar.refresh(0.01, u"Free"_s);
    EXPECT_EQ(angle()->text(), u"0.0°"_s);
    EXPECT_EQ(angleColor(), QColor(255, 255, 255, 140));
    bar.refresh(-0.005, u"Free"_s);
    EXPECT_EQ(angle()->text(), u"-0.0°"_s);
    EXPECT_EQ(angleColor(), QColor(255, 255, 255, 140));
    bar.refresh(0.5, u"Free"_s);
    EXPECT_EQ(angle()->text(), u"+0.5°"_s);
    EXPECT_EQ(angleColor(), QColor(0, 191, 255));
}

TEST_F(CropBarTest, LightsTheButtonOfTheRatio)
{
    for (const char *name : {"Original", "1:1", "4:3", "16:9", "Free"}) {
        bar.refresh(0, QString::fromUtf8(name));
        EXPECT_EQ(selected(), Labels{name});
    }
}

TEST_F(CropBarTest, TurnedRatioKeepsItsButtonLit)
{
    bar.refresh(0, u"3:4"_s);
    EXPECT_EQ(selected(), Labels{"4:3"});
    bar.refresh(0, u"9:16"_s);
    EXPECT_EQ(selected(), Labels{"16:9"});
}

TEST_F(CropBarTest, AnyOtherRatioLightsCustom)
{
    for (const char *name : {"3:2", "2:3", "16 : 10"}) {
        bar.refresh(0, QString::fromUtf8(name));
        EXPECT_EQ(selected(), Labels{"Custom…"});
    }
}

TEST_F(CropBarTest, ClickChangesNothingBeforeTheOwnerHasCarriedItOut)
{
    click(button(u"4:3"_s));
    EXPECT_EQ(selected(), Labels{"Free"});
}

TEST_F(CropBarTest, ApplyStandsOut)
{
    const QImage image = bar.grab().toImage();
    const QRect apply = button(u"Apply ⏎"_s)->geometry();
    EXPECT_EQ(image.pixelColor(apply.x() + 5, apply.y() + apply.height() / 2), QColor(0, 191, 255));
}

TEST_F(CropBarTest, BackgroundIsPaintedOnceUntilSomethingChanges)
{
    bar.grab();
    const int first = backgroundPaints;
    EXPECT_GE(first, 1);
    bar.grab();
    EXPECT_EQ(backgroundPaints, first);
    bar.refresh(1, u"Free"_s);
    bar.grab();
    EXPECT_EQ(backgroundPaints, first + 1);
    bar.place({1000, 700});
    bar.grab();
    EXPECT_EQ(backgroundPaints, first + 2);
}

// Keyboard, mouse and assistive tools

TEST_F(CropBarTest, NeverTakesTheKeyboard)
{
    for (QWidget *widget : content())
        EXPECT_EQ(widget->focusPolicy(), Qt::NoFocus);
    EXPECT_EQ(bar.focusPolicy(), Qt::NoFocus);
    click(button(u"Reset"_s));
    EXPECT_EQ(view.focusWidget(), &view);
}

TEST_F(CropBarTest, KeepsTheMouseFromTheViewBelow)
{
    QTest::mouseClick(&bar, Qt::LeftButton, {}, {5, 30});
    click(angle());
    EXPECT_EQ(view.mousePresses, 0);
}

TEST_F(CropBarTest, EveryButtonHasAName)
{
    const std::map<QString, QString> named{
        {u"⇄"_s, u"Portrait / Landscape (F)"_s},
        {u"↺"_s, u"Rotate left"_s},
        {u"↻"_s, u"Rotate right"_s},
    };
    for (BarButton *candidate : bar.findChildren<BarButton *>()) {
        const auto known = named.find(candidate->text());
        const QString expected = known == named.end() ? candidate->text() : known->second;
        EXPECT_EQ(QAccessible::queryAccessibleInterface(candidate)->text(QAccessible::Name),
                  expected);
    }
}

TEST_F(CropBarTest, SwapButtonExplainsItself)
{
    EXPECT_EQ(button(u"⇄"_s)->toolTip(), u"Portrait / Landscape (F)"_s);
}

TEST_F(CropBarTest, OnlyRatioButtonsCanBeSelected)
{
    Labels checkable;
    for (QWidget *widget : content()) {
        const auto *candidate = dynamic_cast<BarButton *>(widget);
        if (candidate && candidate->isCheckable())
            checkable.push_back(candidate->text().toStdString());
    }
    EXPECT_EQ(checkable, (Labels{"Free", "Original", "1:1", "4:3", "16:9", "Custom…"}));
}

} // namespace
} // namespace tavolin
