// Runs the program that edits and saves without a window.

#include "pictures/Picture.h"
#include "pictures/Writing.h"

#include <QFile>
#include <QImage>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace tavolin::pictures {

using namespace Qt::StringLiterals;

namespace {

/// A folder with one picture of four quarters, 400x300.
class Probe : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(writePicture(fourQuarters({400, 300}), {.size = {400, 300}, .orientation = 6},
                                 source().toStdString()));
    }

    [[nodiscard]] QString source() const { return m_folder.filePath(u"source.jpg"_s); }
    [[nodiscard]] QString saved() const { return m_folder.filePath(u"saved.jpg"_s); }

    /// The exit code; −1 when the program could not be run or crashed.
    int run(const QStringList &arguments)
    {
        QProcess process;
        process.start(QStringLiteral(PROBE_PROGRAM), arguments);
        return process.waitForFinished(60'000) && process.exitStatus() == QProcess::NormalExit
                   ? process.exitCode()
                   : -1;
    }

    /// The size of what is saved after @p steps; empty when nothing is.
    QSize savedSize(const QString &steps)
    {
        QFile::remove(saved());
        run({u"--edit"_s, steps, u"--save"_s, saved(), source()});
        return QImage(saved()).size();
    }

private:
    QTemporaryDir m_folder;
};

TEST_F(Probe, SavesTheWholePictureWithoutSteps)
{
    EXPECT_EQ(run({u"--save"_s, saved(), source()}), 0);
    EXPECT_EQ(QImage(saved()).size(), QSize(400, 300));
}

TEST_F(Probe, CropsWhatIsSeenUpright)
{
    EXPECT_EQ(savedSize(u"crop=200,150,120,80"_s), QSize(120, 80));
    const QColor middle = QImage(saved()).pixelColor(60, 40); // of the lower right quarter: yellow
    EXPECT_GT(middle.red(), 240);
    EXPECT_GT(middle.green(), 240);
    EXPECT_LT(middle.blue(), 15);
}

TEST_F(Probe, StepsAreDoneInOrder)
{
    // 400x300 by 30° leaves 300x173; the crop is cut to what is left.
    EXPECT_EQ(savedSize(u"rotate=30;crop=200,0,500,100"_s), QSize(100, 100));
    EXPECT_EQ(savedSize(u"crop=0,0,300,300;rotate=45"_s), QSize(212, 212));
}

TEST_F(Probe, PartialPixelsOfACropAreKept)
{
    EXPECT_EQ(savedSize(u"crop=10.5,20.5,100,50"_s), QSize(101, 51));
}

TEST_F(Probe, RefusesStepsItDoesNotKnow)
{
    for (const QString &steps :
         {u"turn=3"_s, u"rotate="_s, u"rotate=abc"_s, u"rotate=nan"_s, u"rotate=1,2"_s,
          u"crop=1,2,3"_s, u"crop=1,2,3,4,5"_s, u"crop=1,2,3,1e9"_s, u"rotate=3 crop=1,2,3,4"_s})
        EXPECT_EQ(run({u"--edit"_s, steps, u"--save"_s, saved(), source()}), 2)
            << steps.toStdString();
    EXPECT_FALSE(QFile::exists(saved()));
}

TEST_F(Probe, DoesNotSaveOverTheSource)
{
    const auto content = [this] {
        QFile file(source());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    };
    const QByteArray before = content();
    EXPECT_EQ(run({u"--save"_s, source(), source()}), 1);
    EXPECT_EQ(content(), before);
}

} // namespace

} // namespace tavolin::pictures
