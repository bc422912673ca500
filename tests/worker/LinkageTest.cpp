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
          "tavolin::TiffReader", "tavolin::ColorConversion", "tavolin::InProcessReader"})
        EXPECT_EQ(symbols.find(symbol), std::string::npos) << symbol;
}

class HardenedProgram : public testing::TestWithParam<const char *>
{
protected:
    void SetUp() override
    {
#ifndef TAVOLIN_IS_HARDENED
        GTEST_SKIP() << "only release builds are hardened";
#endif
    }
    [[nodiscard]] static QString program()
    {
        return QString::fromUtf8(GetParam());
    }
};

TEST_P(HardenedProgram, IsAtNoKnownPlaceAndBindsAtOnce)
{
    EXPECT_NE(outputOf(u"readelf"_s, {u"-h"_s, program()}).find(" DYN ("), std::string::npos);
    const std::string dynamic = outputOf(u"readelf"_s, {u"-d"_s, program()});
    EXPECT_NE(dynamic.find("BIND_NOW"), std::string::npos);
    EXPECT_NE(dynamic.find(" PIE"), std::string::npos);
    const std::string segments = outputOf(u"readelf"_s, {u"-lW"_s, program()});
    EXPECT_NE(segments.find("GNU_RELRO"), std::string::npos);
    EXPECT_EQ(segments.find("RWE"), std::string::npos); // writable and executable
}

TEST_P(HardenedProgram, ChecksItsStackAndItsBuffers)
{
    const std::string symbols = outputOf(u"nm"_s, {u"-D"_s, u"-u"_s, program()});
    EXPECT_NE(symbols.find(" __stack_chk_fail"), std::string::npos);
    EXPECT_NE(symbols.find("_chk@"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Programs, HardenedProgram,
                         testing::Values(VIEWER_PROGRAM, WORKER_PROGRAM, PROBE_PROGRAM),
                         [](const auto &test) {
                             std::string name = test.param;
                             name.erase(0, name.rfind('-') + 1);
                             return name;
                         });

} // namespace

} // namespace tavolin
