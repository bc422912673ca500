// Decodes files that are made to hurt as the viewer does, in workers that have little memory and
// time.

#include <QDir>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace tavolin {

using namespace Qt::StringLiterals;

namespace {

/// Milliseconds that a bomb may take on a busy machine. Each of its readings has a limit in a
/// worker, some ten seconds of the processors' time.
constexpr int TIME_LIMIT = 120'000;

/// The folder with the bombs, written once.
const QDir &bombs()
{
    static const QTemporaryDir folder;
    static const QDir result = [] {
        QProcess::execute(QStringLiteral(MAKE_BOMBS_PROGRAM), {folder.path()});
        return QDir(folder.path());
    }();
    return result;
}

/// Runs the probe on @p bomb with more @p options; what went wrong is added to the test's failures.
/// Whether there is a picture, and all was done.
bool probe(const QString &bomb, const QStringList &options)
{
    QProcess process;
    process.start(QStringLiteral(PROBE_PROGRAM), options + QStringList{bomb});
    EXPECT_TRUE(process.waitForFinished(TIME_LIMIT)) << bomb.toStdString();
    EXPECT_EQ(process.exitStatus(), QProcess::NormalExit) << bomb.toStdString();
    EXPECT_EQ(process.readAllStandardError().toStdString(), "") << bomb.toStdString();
    return process.exitCode() == 0;
}

TEST(Bombs, EndNobodyAndSayNothing)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "sanitizers take more memory than there is";
#endif
    const QStringList names = bombs().entryList(QDir::Files);
    ASSERT_GT(names.size(), 40) << "make-bombs needs python3";
    const QTemporaryDir folder;
    for (const QString &name : names) {
        // Of what can't be shown nothing is saved; what can't be saved is told.
        probe(bombs().filePath(name), {u"--save"_s, folder.filePath(u"saved.jpg"_s)});
    }
}

TEST(Bombs, FilesTheyAreMadeOfAreGood)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "sanitizers take more memory than there is";
#endif
    EXPECT_TRUE(probe(bombs().filePath(u"whole.heic"_s), {}));
    EXPECT_TRUE(probe(bombs().filePath(u"exif-fraction.jpg"_s), {}));
}

} // namespace

} // namespace tavolin
