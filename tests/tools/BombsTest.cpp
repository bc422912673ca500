// Decodes files that are made to hurt, each in a process of its own that has little memory and
// time.

#include <QDir>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/resource.h>

namespace tavolin {

using namespace Qt::StringLiterals;

namespace {

constexpr rlim_t MEMORY_BYTES = rlim_t{2} << 30;
constexpr rlim_t PROCESSOR_SECONDS = 10;

void limitProcess()
{
    const rlimit memory{MEMORY_BYTES, MEMORY_BYTES};
    const rlimit time{PROCESSOR_SECONDS, PROCESSOR_SECONDS};
    setrlimit(RLIMIT_AS, &memory);
    setrlimit(RLIMIT_CPU, &time);
}

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
/// Whether there is a picture.
bool probe(const QString &bomb, const QStringList &options)
{
    QProcess process;
    process.setChildProcessModifier(limitProcess);
    process.start(QStringLiteral(PROBE_PROGRAM), options + QStringList{bomb});
    EXPECT_TRUE(process.waitForFinished(120'000)) << bomb.toStdString();
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
        const QString bomb = bombs().filePath(name);
        if (probe(bomb, {})) {
            EXPECT_TRUE(probe(bomb, {u"--save"_s, folder.filePath(u"saved.jpg"_s)}))
                << name.toStdString();
        }
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
