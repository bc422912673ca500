// Runs the script that scores a corpus, and the one that damages files for it.

#include "pictures/Picture.h"
#include "pictures/Writing.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QString>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace tavolin::pictures {

using namespace Qt::StringLiterals;

namespace {

struct Score
{
    int exitCode = -1;
    QString text;

    /// The number in the line that begins with @p name; -1 where there is none.
    [[nodiscard]] int number(const QString &name) const
    {
        const QRegularExpression line(u"^"_s + name + u" +([0-9,]+)$"_s,
                                      QRegularExpression::MultilineOption);
        const auto match = line.match(text);
        return match.hasMatch() ? match.captured(1).remove(u',').toInt() : -1;
    }
};

Score scored(const QString &folder)
{
    QProcess process;
    process.start(QStringLiteral(CORPUS_SCORE_PROGRAM),
                  {u"--build"_s, QStringLiteral(BUILD_FOLDER), folder});
    EXPECT_TRUE(process.waitForFinished(120'000));
    return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput())};
}

TEST(CorpusScore, CountsWhatIsShownAndWhatIsRefused)
{
    const QTemporaryDir folder;
    const QImage picture = fourQuarters({300, 200});
    for (const QString &name : {u"1.jpg"_s, u"2.png"_s})
        ASSERT_TRUE(
            writePicture(picture, {.size = {300, 200}}, folder.filePath(name).toStdString()));
    QFile text(folder.filePath(u"3.tif"_s));
    ASSERT_TRUE(text.open(QIODevice::WriteOnly) && text.write("no picture") > 0);
    text.close();
    const Score score = scored(folder.path());
    EXPECT_EQ(score.exitCode, 0);
    EXPECT_EQ(score.number(u"files"_s), 3) << score.text.toStdString();
    EXPECT_EQ(score.number(u"shown"_s), 2);
    EXPECT_EQ(score.number(u"refused"_s), 1);
    EXPECT_EQ(score.number(u"viewer deaths"_s), 0);
    EXPECT_GT(score.number(u"most memory, MiB"_s), 0);
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden).size(), 3);
}

TEST(CorpusScore, SeesPixelsOfThePictureBefore)
{
    const QTemporaryDir folder;
    QImage loud(400, 300, QImage::Format_RGB32);
    loud.fill(0xffb713d9);
    ASSERT_TRUE(loud.save(folder.filePath(u"loud.png"_s)));
    const Score score = scored(folder.path());
    EXPECT_EQ(score.exitCode, 1);
    EXPECT_EQ(score.number(u"foreign pixels"_s), 1) << score.text.toStdString();
}

TEST(MutateFiles, GivesTheSameDamagedCopiesForTheSameSeed)
{
    const QTemporaryDir folder;
    QFile source(folder.filePath(u"source.bin"_s));
    ASSERT_TRUE(source.open(QIODevice::WriteOnly) && source.write(QByteArray(3000, 'a')) > 0);
    source.close();
    const auto copies = [&](const QString &name, const QString &seed) {
        EXPECT_EQ(QProcess::execute(
                      QStringLiteral(MUTATE_FILES_PROGRAM),
                      {u"--seed"_s, seed, folder.filePath(name), u"30"_s, source.fileName()}),
                  0);
        QList<QByteArray> all;
        for (const QFileInfo &info : QDir(folder.filePath(name)).entryInfoList(QDir::Files)) {
            QFile copy(info.filePath());
            all.append(copy.open(QIODevice::ReadOnly) ? copy.readAll() : QByteArray());
        }
        return all;
    };
    const auto first = copies(u"first"_s, u"1"_s);
    EXPECT_EQ(first.size(), 30);
    EXPECT_FALSE(first.contains(QByteArray(3000, 'a')));
    EXPECT_EQ(copies(u"again"_s, u"1"_s), first);
    EXPECT_NE(copies(u"other"_s, u"2"_s), first);
}

} // namespace

} // namespace tavolin::pictures
