// Runs the script that writes docs/formats.md.

#include "pictures/Picture.h"
#include "pictures/Writing.h"

#include <QDir>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStandardPaths>
#include <QString>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace tavolin::pictures {

using namespace Qt::StringLiterals;

namespace {

/// What the script writes of the samples in @p folder.
QString described(const QString &folder)
{
    QProcess process;
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"TAVOLIN_SAMPLES"_s, folder);
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(DESCRIBE_FORMATS_PROGRAM),
                  {u"--small"_s, QStringLiteral(BUILD_FOLDER)});
    EXPECT_TRUE(process.waitForFinished(120'000));
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    return QString::fromUtf8(process.readAllStandardOutput());
}

/// The line of the table that is about @p file.
QString rowOf(const QString &file, const QString &text)
{
    for (const QString &line : text.split(u'\n'))
        if (line.startsWith(u"| "_s + file + u' '))
            return line;
    return {};
}

TEST(DescribeFormats, TellsWhatIsShownAndSavedOfSamplesAndGeneratedPictures)
{
    if (QStandardPaths::findExecutable(u"exiftool"_s).isEmpty())
        GTEST_SKIP() << "no exiftool";
    const QTemporaryDir folder;
    const QImage picture = fourQuarters({300, 200});
    for (const QString &path : {u"formats/b"_s, u"broken"_s}) {
        ASSERT_TRUE(QDir(folder.path()).mkpath(path));
        for (const QString &name : {u"/2.jpg"_s, u"/1.png"_s, u"/3.bmp"_s})
            ASSERT_TRUE(writePicture(picture, {.size = {300, 200}},
                                     folder.filePath(path + name).toStdString()));
    }
    const QString text = described(folder.path());
    EXPECT_FALSE(text.contains(u"broken/"_s));
    EXPECT_FALSE(text.contains(folder.path()));
    EXPECT_TRUE(rowOf(u"formats/b/2.jpg"_s, text)
                    .startsWith(u"| formats/b/2.jpg | 300×200 | 300×200 | TestCamera;"_s))
        << text.toStdString();
    EXPECT_TRUE(rowOf(u"formats/b/1.png"_s, text).endsWith(u"| 300×200; EXIF 10 of 10 |"_s))
        << text.toStdString();
    EXPECT_EQ(rowOf(u"formats/b/3.bmp"_s, text),
              u"| formats/b/3.bmp | 300×200 | 300×200 | – | 300×200 |"_s);
    EXPECT_FALSE(rowOf(u"generated/turned_dng.dng"_s, text).isEmpty());
    EXPECT_LT(text.indexOf(u"\n## JPEG"_s), text.indexOf(u"formats/b/2.jpg"_s));
    EXPECT_LT(text.indexOf(u"formats/b/2.jpg"_s), text.indexOf(u"\n## PNG"_s));
}

} // namespace

} // namespace tavolin::pictures
