#include "e2e/SlowMount.h"

#include <QFile>
#include <QStringList>

#include <fcntl.h>
#include <unistd.h>

namespace tavolin {

using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

namespace {

/// Milliseconds that mounting and unmounting get: far more than they need.
constexpr int MOUNT_LIMIT = 20'000;

} // namespace

SlowMount::SlowMount(const fs::path &source, const DiskSpeed &speed)
{
    // Were the folder still mounted there, its files would be removed.
    m_mountPoint.setAutoRemove(false);
#ifdef TAVOLIN_SLOW_MOUNT_PROGRAM
    m_process.setStandardErrorFile(m_folder.filePath(u"stderr"_s));
    m_process.start(QStringLiteral(TAVOLIN_SLOW_MOUNT_PROGRAM),
                    {QFile::decodeName(source.c_str()), m_mountPoint.path(), u"--call-ms"_s,
                     QString::number(speed.call.count()), u"--mb-per-s"_s,
                     QString::number(speed.megabytesPerSecond), u"--hang-while"_s, hangFile()});
    QByteArray output; // a line once it is mounted
    while (!output.endsWith('\n') && m_process.waitForReadyRead(MOUNT_LIMIT))
        output += m_process.readAll();
    if (output.endsWith('\n'))
        return;
    QFile log(m_folder.filePath(u"stderr"_s));
    m_error = u"nothing can be mounted: "_s + (log.open(QIODevice::ReadOnly)
                                                   ? QString::fromLocal8Bit(log.readAll())
                                                   : m_process.errorString());
#else
    Q_UNUSED(source)
    Q_UNUSED(speed)
    m_error = whyUnavailable();
#endif
}

SlowMount::~SlowMount()
{
    m_process.terminate();
    if (!m_process.waitForFinished(MOUNT_LIMIT)) {
        m_process.kill();
        m_process.waitForFinished();
        QProcess::execute(u"fusermount3"_s, {u"-u"_s, u"-z"_s, u"-q"_s, m_mountPoint.path()});
    }
    rmdir(QFile::encodeName(m_mountPoint.path()).constData()); // which leaves what is mounted
}

QString SlowMount::whyUnavailable()
{
#ifdef TAVOLIN_SLOW_MOUNT_PROGRAM
    const int device = open("/dev/fuse", O_RDWR | O_CLOEXEC);
    if (device == -1)
        return u"/dev/fuse can't be opened"_s;
    close(device);
    const QTemporaryDir empty;
    return SlowMount(empty.path().toStdString(), {}).error();
#else
    return u"built without libfuse 3"_s;
#endif
}

void SlowMount::hang()
{
    QFile file(hangFile());
    if (!file.open(QIODevice::WriteOnly))
        qFatal("%s can't be written", qPrintable(hangFile()));
}

void SlowMount::goOn()
{
    QFile::remove(hangFile());
}

QString SlowMount::hangFile() const
{
    return m_folder.filePath(u"hang"_s);
}

} // namespace tavolin
