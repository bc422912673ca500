// Runs the program that fills folders with pictures.

#include "pictures/Picture.h"

#include <QDir>
#include <QFile>
#include <QImageReader>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace tavolin::pictures {

using namespace Qt::StringLiterals;

namespace {

struct Outcome
{
    int exitCode = -1; ///< −1 when the program could not be run or crashed.
    QByteArray output;
    QByteArray errors;
};

Outcome run(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral(MAKE_PICTURES_PROGRAM), arguments);
    if (!process.waitForFinished(60'000) || process.exitStatus() != QProcess::NormalExit)
        return {};
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

/// Arguments for small pictures in @p folder, after @p more.
QStringList small(const QStringList &more, const QString &folder)
{
    return more + QStringList{u"--size"_s, u"300x200"_s, u"--plain"_s, folder};
}

QStringList filesIn(const QString &folder)
{
    return QDir(folder).entryList(QDir::Files, QDir::Name);
}

QImage shown(const QString &file)
{
    QImageReader reader(file);
    reader.setAutoTransform(true);
    return reader.read();
}

TEST(MakePictures, FillsAMissingFolder)
{
    const QTemporaryDir temporary;
    const QString folder = temporary.filePath(u"a/b"_s);
    const Outcome outcome = run(small({u"--count"_s, u"3"_s}, folder));
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output.count('\n'), 1);
    EXPECT_EQ(filesIn(folder),
              QStringList({u"IMG_0001.jpg"_s, u"IMG_0002.jpg"_s, u"IMG_0003.jpg"_s}));
}

TEST(MakePictures, DemoHasLandscapeScreenAndPortraitShapes)
{
    const QTemporaryDir folder;
    ASSERT_EQ(run(small({u"--count"_s, u"6"_s}, folder.path())).exitCode, 0);
    const auto expectPicture = [&](int index, QSize upright, QImageIOHandler::Transformation turn) {
        const QString file = folder.filePath(u"IMG_000%1.jpg"_s.arg(index));
        EXPECT_EQ(shown(file).size(), upright) << index;
        EXPECT_EQ(readIndex(shown(file)), index);
        EXPECT_EQ(QImageReader(file).transformation(), turn) << index;
    };
    expectPicture(1, {300, 200}, QImageIOHandler::TransformationNone);
    expectPicture(2, {300, 168}, QImageIOHandler::TransformationNone);
    expectPicture(3, {200, 300}, QImageIOHandler::TransformationRotate90);
    expectPicture(4, {300, 200}, QImageIOHandler::TransformationNone);
    expectPicture(6, {200, 300}, QImageIOHandler::TransformationRotate270);
}

TEST(MakePictures, LeavesExistingFilesAlone)
{
    const QTemporaryDir folder;
    QFile mine(folder.filePath(u"IMG_0002.jpg"_s));
    ASSERT_TRUE(mine.open(QIODevice::WriteOnly));
    mine.write("mine");
    mine.close();
    const Outcome outcome = run(small({u"--count"_s, u"3"_s}, folder.path()));
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_TRUE(outcome.output.contains("2 written, 1 already there, 0 failed"));
    ASSERT_TRUE(mine.open(QIODevice::ReadOnly));
    EXPECT_EQ(mine.readAll(), "mine");
}

TEST(MakePictures, AllOrientationsComeByTurns)
{
    const QTemporaryDir folder;
    const QStringList all = {u"--count"_s, u"9"_s, u"--orientation"_s, u"all"_s};
    ASSERT_EQ(run(small(all, folder.path())).exitCode, 0);
    // Qt's flags for EXIF 1 to 8.
    const int expected[] = {0, 1, 3, 2, 6, 4, 5, 7, 0};
    for (int index = 1; index <= 9; ++index) {
        const QString file = folder.filePath(u"IMG_000%1.jpg"_s.arg(index));
        EXPECT_EQ(QImageReader(file).transformation().toInt(), expected[index - 1]) << index;
        EXPECT_EQ(shown(file).size(), QSize(300, 200)) << index;
        EXPECT_EQ(readIndex(shown(file)), index);
    }
}

TEST(MakePictures, OneOrientationHoldsForAll)
{
    const QTemporaryDir folder;
    const QStringList one = {u"--count"_s, u"3"_s, u"--orientation"_s, u"8"_s};
    ASSERT_EQ(run(small(one, folder.path())).exitCode, 0);
    for (const QString &name : filesIn(folder.path()))
        EXPECT_EQ(QImageReader(folder.filePath(name)).size(), QSize(200, 300));
}

TEST(MakePictures, MixedMakesEveryFormat)
{
    const QTemporaryDir folder;
    const QStringList mixed = {u"--count"_s, u"7"_s, u"--format"_s, u"mixed"_s};
    ASSERT_EQ(run(small(mixed, folder.path())).exitCode, 0);
    EXPECT_EQ(
        filesIn(folder.path()),
        QStringList({u"IMG_0001.jpg"_s, u"IMG_0002.png"_s, u"IMG_0003.webp"_s, u"IMG_0004.bmp"_s,
                     u"IMG_0005.tif"_s, u"IMG_0006.dng"_s, u"IMG_0007.jpg"_s}));
}

TEST(MakePictures, FailsWhereNoFolderCanBe)
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(u"file"_s));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    EXPECT_EQ(run(small({}, folder.filePath(u"file/below"_s))).exitCode, 1);
}

TEST(MakePictures, HelpIsNoFault)
{
    const Outcome outcome = run({u"--help"_s});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_TRUE(outcome.output.contains("--orientation"));
}

struct RefusedCase
{
    const char *name;
    QStringList arguments; ///< Before the folder.
};

void PrintTo(const RefusedCase &item, std::ostream *out)
{
    *out << item.name;
}

class RefusedArguments : public testing::TestWithParam<RefusedCase>
{};

TEST_P(RefusedArguments, AreNamedInOneLine)
{
    const QTemporaryDir temporary;
    const QString folder = temporary.filePath(u"new"_s);
    const Outcome outcome = run(GetParam().arguments + QStringList{folder});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.errors.count('\n'), 1) << outcome.errors.constData();
    EXPECT_TRUE(outcome.output.isEmpty());
    EXPECT_FALSE(QDir(folder).exists());
}

INSTANTIATE_TEST_SUITE_P(
    Arguments, RefusedArguments,
    testing::Values(RefusedCase{"UnknownOption", {u"--frobnicate"_s}},
                    RefusedCase{"NoCount", {u"--count"_s, u"0"_s}},
                    RefusedCase{"CountOfManyDigits", {u"--count"_s, u"10000"_s}},
                    RefusedCase{"CountInWords", {u"--count"_s, u"many"_s}},
                    RefusedCase{"SizeOfOneSide", {u"--size"_s, u"300"_s}},
                    RefusedCase{"SizeTooSmall", {u"--size"_s, u"159x159"_s}},
                    RefusedCase{"SizeTooLarge", {u"--size"_s, u"16384x9000"_s}},
                    RefusedCase{"SizeTooLong", {u"--size"_s, u"1000x199"_s}},
                    RefusedCase{"UnknownFormat", {u"--format"_s, u"gif"_s}},
                    RefusedCase{"OrientationZero", {u"--orientation"_s, u"0"_s}},
                    RefusedCase{"OrientationNine", {u"--orientation"_s, u"9"_s}},
                    RefusedCase{"QualityTooHigh", {u"--quality"_s, u"101"_s}},
                    RefusedCase{"TwoFolders", {u"other"_s}}),
    [](const auto &item) { return std::string(item.param.name); });

TEST(MakePictures, FolderMustBeNamed)
{
    EXPECT_EQ(run({}).exitCode, 2);
}

} // namespace

} // namespace tavolin::pictures
