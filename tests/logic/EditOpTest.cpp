#include "editing/EditOp.h"

#include "decoding/TestPictures.h"
#include "Printing.h"

#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

namespace tavolin {

namespace {

using namespace test;

/// Whether the sides differ by less than 0.005.
testing::AssertionResult isAbout(QSizeF actual, double width, double height)
{
    if (std::abs(actual.width() - width) < 0.005 && std::abs(actual.height() - height) < 0.005)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << actual.width() << " x " << actual.height();
}

TEST(InscribedSize, LandscapeByTenDegrees)
{
    EXPECT_TRUE(isAbout(inscribedSize({4000, 3000}, 10), 3637.66, 2404.86));
}

TEST(InscribedSize, PortraitHasTheSidesExchanged)
{
    EXPECT_TRUE(isAbout(inscribedSize({3000, 4000}, 10), 2404.86, 3637.66));
}

TEST(InscribedSize, TheOtherDirectionGivesTheSame)
{
    EXPECT_TRUE(isAbout(inscribedSize({4000, 3000}, -10), 3637.66, 2404.86));
    for (double degrees = 0.1; degrees < 180; degrees += 0.7)
        EXPECT_EQ(inscribedSize({4000, 3000}, degrees), inscribedSize({4000, 3000}, -degrees));
}

TEST(InscribedSize, LongPictureTouchesOnlyItsLongSides)
{
    EXPECT_TRUE(isAbout(inscribedSize({4000, 3000}, 30), 3000, 1732.05));
    EXPECT_TRUE(isAbout(inscribedSize({3000, 4000}, 30), 1732.05, 3000));
}

TEST(InscribedSize, SquareByHalfARightAngleIsASquare)
{
    EXPECT_TRUE(isAbout(inscribedSize({1000, 1000}, 45), 707.11, 707.11));
    EXPECT_TRUE(isAbout(inscribedSize({1000, 1000}, -45), 707.11, 707.11));
    // The limit between both cases must not depend on how the size rounds.
    for (int side = 2; side < 3000; ++side) {
        const QSizeF inscribed = inscribedSize(QSizeF(side, side), 45);
        ASSERT_NEAR(inscribed.width(), side / std::numbers::sqrt2, 1e-6) << side;
        ASSERT_NEAR(inscribed.height(), side / std::numbers::sqrt2, 1e-6) << side;
    }
}

TEST(InscribedSize, UnchangedWhereTheSineIsTooSmall)
{
    for (const double degrees : {0.0, 0.005, -0.005, 0.0057, 180.0})
        EXPECT_EQ(inscribedSize({4000, 3000}, degrees), QSizeF(4000, 3000)) << degrees;
    EXPECT_LT(inscribedSize({4000, 3000}, 0.0058).width(), 4000);
}

/// One random picture and turn, and the rectangle inside it.
struct Turned
{
    double width;
    double height;
    double sine;
    double cosine;
    QSizeF inscribed;
};

std::vector<Turned> randomTurns(int count)
{
    std::mt19937 random(5);
    std::uniform_real_distribution<double> side(2, 9000);
    std::uniform_real_distribution<double> angle(-90, 90);
    std::vector<Turned> turns;
    while (static_cast<int>(turns.size()) < count) {
        const double degrees = angle(random);
        const double radians = degrees * std::numbers::pi / 180;
        const QSizeF size(side(random), side(random));
        if (std::abs(std::sin(radians)) > 0.0001)
            turns.push_back({size.width(), size.height(), std::abs(std::sin(radians)),
                             std::abs(std::cos(radians)), inscribedSize(size, degrees)});
    }
    return turns;
}

/// How far the corner of the inscribed rectangle that goes farthest reaches, as a share of the way
/// to the nearer of the picture's sides: 1 on the side, more outside.
double reach(const Turned &turn)
{
    const double a = turn.inscribed.width();
    const double b = turn.inscribed.height();
    return std::max((a * turn.cosine + b * turn.sine) / turn.width,
                    (a * turn.sine + b * turn.cosine) / turn.height);
}

TEST(InscribedSize, LiesInsideThePictureAndTouchesItsSides)
{
    for (const Turned &turn : randomTurns(10'000))
        ASSERT_NEAR(reach(turn), 1, 1e-9) << turn.width << " x " << turn.height;
}

TEST(InscribedSize, NoUprightRectangleInsideIsLarger)
{
    for (const Turned &turn : randomTurns(300)) {
        const double area = turn.inscribed.width() * turn.inscribed.height();
        const double widest = std::min(turn.width / turn.cosine, turn.height / turn.sine);
        for (double width = 0; width < widest; width += widest / 500) {
            const double height = std::min((turn.width - width * turn.cosine) / turn.sine,
                                           (turn.height - width * turn.sine) / turn.cosine);
            ASSERT_LE(width * height, area * (1 + 1e-9));
        }
    }
}

TEST(RotateInscribed, SidesAreTruncated)
{
    EXPECT_EQ(rotateInscribed(flatImage({4000, 3000}, GREY), 10).size(), QSize(3637, 2404));
    EXPECT_EQ(rotateInscribed(flatImage({1000, 1000}, GREY), 45).size(), QSize(707, 707));
    EXPECT_EQ(rotateInscribed(flatImage({4000, 3000}, GREY), 90).size(), QSize(2999, 4000));
}

TEST(RotateInscribed, TheVerySamePictureWhereTheSineIsTooSmall)
{
    const Image image = noiseImage({300, 200});
    for (const double degrees : {0.0, 0.005, -0.005, 180.0, -180.0})
        EXPECT_TRUE(rotateInscribed(image, degrees).isSameAs(image)) << degrees;
    EXPECT_FALSE(rotateInscribed(image, 0.0058).isSameAs(image));
}

TEST(RotateInscribed, TheVerySamePictureWhereTooLittleWouldBeLeft)
{
    const Image flat = noiseImage({100, 2});
    EXPECT_TRUE(rotateInscribed(flat, 10).isSameAs(flat));
    const Image small = noiseImage({2, 2});
    EXPECT_TRUE(rotateInscribed(small, 45).isSameAs(small));
    EXPECT_EQ(rotateInscribed(noiseImage({3, 3}), 45).size(), QSize(2, 2));
}

TEST(RotateInscribed, TheVerySamePictureForWhatIsNoAngle)
{
    const Image image = noiseImage({300, 200});
    EXPECT_TRUE(rotateInscribed(image, std::numeric_limits<double>::quiet_NaN()).isSameAs(image));
    EXPECT_TRUE(rotateInscribed(image, std::numeric_limits<double>::infinity()).isSameAs(image));
    EXPECT_TRUE(rotateInscribed(Image(), 10).isNull());
}

/// A picture with a colour in each quarter: red, green, blue, yellow, row by row.
Image quarters(QSize size)
{
    return makeImage(size, [size](int x, int y) {
        const bool isLeft = 2 * x < size.width();
        return 2 * y < size.height() ? (isLeft ? RED : GREEN) : (isLeft ? BLUE : YELLOW);
    });
}

TEST(RotateInscribed, PositiveDegreesTurnClockwise)
{
    const Image turned = rotateInscribed(quarters({400, 300}), 40);
    EXPECT_TRUE(isNear(pixelAt(turned, 0.5, 0.05), RED, 0)); // was on the left, is at the top
    EXPECT_TRUE(isNear(pixelAt(turned, 0.95, 0.5), GREEN, 0));
    EXPECT_TRUE(isNear(pixelAt(turned, 0.5, 0.95), YELLOW, 0));
    EXPECT_TRUE(isNear(pixelAt(turned, 0.05, 0.5), BLUE, 0));
}

TEST(RotateInscribed, NegativeDegreesTurnCounterclockwise)
{
    const Image turned = rotateInscribed(quarters({400, 300}), -40);
    EXPECT_TRUE(isNear(pixelAt(turned, 0.5, 0.05), GREEN, 0));
    EXPECT_TRUE(isNear(pixelAt(turned, 0.95, 0.5), YELLOW, 0));
    EXPECT_TRUE(isNear(pixelAt(turned, 0.5, 0.95), BLUE, 0));
    EXPECT_TRUE(isNear(pixelAt(turned, 0.05, 0.5), RED, 0));
}

TEST(RotateInscribed, TheSourceIsLeftAlone)
{
    const Image image = noiseImage({200, 100});
    const Image turned = rotateInscribed(image, 10);
    EXPECT_TRUE(looksLike(image, noiseImage({200, 100})));
    EXPECT_FALSE(turned.isSameAs(image));
}

TEST(RotateInscribed, ProfileAndKindOfAlphaAreKept)
{
    const Image image = makeImage(
        {60, 60}, [](int, int) { return 0x80402010; }, Alpha::Premultiplied, "profile");
    const Image turned = rotateInscribed(image, 10);
    EXPECT_EQ(turned.iccProfile(), "profile");
    EXPECT_EQ(turned.alpha(), Alpha::Premultiplied);
    EXPECT_EQ(turned.row(0)[0], 0x80402010);
}

TEST(ApplyOp, CropSharesThePixels)
{
    const Image image = noiseImage({300, 200});
    const Image part = applyOp(image, CropOp{{20, 30, 100, 50}});
    EXPECT_EQ(part.size(), QSize(100, 50));
    EXPECT_EQ(part.row(0), image.row(30) + 20);
}

TEST(ApplyOp, CropBeyondAnEdgeIsCutToThePicture)
{
    const Image image = noiseImage({300, 200});
    const Image part = applyOp(image, CropOp{{250, -10, 100, 50}});
    EXPECT_EQ(part.size(), QSize(50, 40));
    EXPECT_EQ(part.row(0), image.row(0) + 250);
}

TEST(ApplyOp, CropWithNothingOfThePictureGivesTheVerySame)
{
    const Image image = noiseImage({300, 200});
    for (const QRect rect : {QRect(300, 0, 50, 50), QRect(0, -60, 50, 50), QRect(10, 10, 0, 20)})
        EXPECT_TRUE(applyOp(image, CropOp{rect}).isSameAs(image));
}

TEST(ApplyOp, RotationIsThatOfRotateInscribed)
{
    const Image image = noiseImage({300, 200});
    EXPECT_TRUE(looksLike(applyOp(image, RotateOp{12}), rotateInscribed(image, 12)));
    EXPECT_TRUE(applyOp(image, RotateOp{0}).isSameAs(image));
}

TEST(ApplyOp, EachStepIsInThePixelsOfTheOneBefore)
{
    const Image image = noiseImage({4000, 3000});
    const Image turned = applyOp(image, RotateOp{10});
    const Image part = applyOp(turned, CropOp{{3600, 2400, 100, 100}});
    EXPECT_EQ(part.size(), QSize(37, 4));
}

TEST(EditOp, StepsAreEqualWhenTheirKindAndValueAre)
{
    EXPECT_EQ(EditOp(RotateOp{3}), EditOp(RotateOp{3}));
    EXPECT_NE(EditOp(RotateOp{3}), EditOp(RotateOp{4}));
    EXPECT_EQ(EditOp(CropOp{{1, 2, 3, 4}}), EditOp(CropOp{{1, 2, 3, 4}}));
    EXPECT_NE(EditOp(CropOp{{1, 2, 3, 4}}), EditOp(RotateOp{3}));
}

TEST(IntegralRect, EdgesAreRoundedOutward)
{
    EXPECT_EQ(integralRect({10.2, 20.7, 5.5, 5.5}), QRect(10, 20, 6, 7));
    EXPECT_EQ(integralRect({-0.5, -1.5, 1, 1}), QRect(-1, -2, 2, 2));
}

TEST(IntegralRect, WholeEdgesStay)
{
    EXPECT_EQ(integralRect({10, 20, 30, 40}), QRect(10, 20, 30, 40));
}

TEST(IntegralRect, NegativeSidesAreTurnedAround)
{
    EXPECT_EQ(integralRect({30.5, 40, -10.25, -20}), QRect(20, 20, 11, 20));
}

} // namespace

} // namespace tavolin
