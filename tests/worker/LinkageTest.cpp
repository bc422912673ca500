// What the viewer is linked with: nothing that parses pictures, profiles or metadata.

#include <QProcess>
#include <QStringList>

#include <gtest/gtest.h>

#include <string>

namespace tavolin {

namespace {

using namespace Qt::StringLiterals;

std::string outputOf(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    EXPECT_TRUE(process.waitForFinished() && process.exitCode() == 0) << program.toStdString();
    return process.readAllStandardOutput().toStdString();
}

TEST(ViewerLinkage, NeedsNoLibraryThatDecodes)
{
    const std::string needed = outputOf(u"readelf"_s, {u"-d"_s, QStringLiteral(VIEWER_PROGRAM)});
    EXPECT_NE(needed.find("[libQt6Widgets.so"), std::string::npos);
    for (const char *library : {"libheif", "libde265", "libraw", "libexiv2", "libtiff", "libwebp",
                                "liblcms2", "libpng", "libseccomp"})
        EXPECT_EQ(needed.find(library), std::string::npos) << library;
}

TEST(ViewerLinkage, WritesJpegsAndReadsNone)
{
    const std::string symbols =
        outputOf(u"nm"_s, {u"-D"_s, u"-u"_s, u"-C"_s, QStringLiteral(VIEWER_PROGRAM)});
    EXPECT_NE(symbols.find(" jpeg_CreateCompress"), std::string::npos);
    for (const char *symbol :
         {"jpeg_CreateDecompress", "jpeg_read_", "jpeg_start_decompress", "jpeg_consume_input",
          "jpeg_stdio_src", "jpeg_mem_src", "jpeg_resync_to_restart", "jpeg_save_markers", "tj3",
          "tjDecompress", "QImageReader::", "QImage::load", "QImage::fromData", "QPixmap::load",
          "QMovie::", "QColorSpace::fromIccProfile"})
        EXPECT_EQ(symbols.find(symbol), std::string::npos) << symbol;
}

TEST(ViewerLinkage, HoldsNoDecoderOfOurOwn)
{
    const std::string symbols = outputOf(u"nm"_s, {u"-C"_s, QStringLiteral(VIEWER_PROGRAM)});
    EXPECT_NE(symbols.find("tavolin::WorkerReader::loadThumbnail"), std::string::npos);
    for (const char *symbol :
         {"tavolin::createThumbnail", "tavolin::decodeJpeg", "tavolin::readProperties",
          "tavolin::TiffReader", "tavolin::SrgbConversion", "tavolin::InProcessReader"})
        EXPECT_EQ(symbols.find(symbol), std::string::npos) << symbol;
}

} // namespace

} // namespace tavolin
