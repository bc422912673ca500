#include "decoding/codecs/jpeg/JpegDecoder.h"

#include "decoding/codecs/jpeg/JpegParts.h"
#include "JpegReference.h"
#include "pictures/Jpeg.h"
#include "Samples.h"

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

namespace tavolin {

namespace {

using namespace test;

struct Kind
{
    std::string name;
    Sampling sampling;
};

void PrintTo(const Kind &kind, std::ostream *out)
{
    *out << kind.name;
}

const std::vector<Kind> KINDS{
    {"Full444", {1, 1}},
    {"Half422", {2, 1}},
    {"Half440", {1, 2}},
    {"Quarter420", {2, 2}},
    {"Quarter411", {4, 1}},
    {"Grey", {1, 1, true}},
    {"OddlySampledGrey", {2, 2, true}},
};
constexpr std::array<int, 4> SCALES{8, 4, 2, 1};

/// Whether both have the same pixels, and where not.
testing::AssertionResult isSame(const DecodedRows &ours, const DecodedRows &reference)
{
    if (ours.size != reference.size || ours.rows != reference.rows || !ours.isWhole)
        return testing::AssertionFailure()
               << ours.rows << " rows of " << ours.size.width() << "x" << ours.size.height()
               << " instead of " << reference.rows << " of " << reference.size.width() << "x"
               << reference.size.height();
    const auto [mine, its] = std::ranges::mismatch(ours.pixels, reference.pixels);
    if (mine == ours.pixels.end())
        return testing::AssertionSuccess();
    const auto at = mine - ours.pixels.begin();
    return testing::AssertionFailure()
           << std::hex << *mine << " instead of " << *its << std::dec << " at "
           << at % ours.size.width() << ", " << at / ours.size.width() << " of "
           << ours.size.width() << "x" << ours.size.height();
}

class JpegDecoder : public testing::TestWithParam<Kind>
{
protected:
    [[nodiscard]] static QByteArray file(QSize size, int quality, int restartInterval = 0)
    {
        return jpegFile(size,
                        {.sampling = GetParam().sampling,
                         .quality = quality,
                         .restartInterval = restartInterval},
                        static_cast<unsigned>(size.width() * 100 + size.height() + quality));
    }
};

INSTANTIATE_TEST_SUITE_P(Kinds, JpegDecoder, testing::ValuesIn(KINDS),
                         [](const auto &tested) { return tested.param.name; });

TEST_P(JpegDecoder, EverySizeIsAsInTheLibrary)
{
    int quality = 1;
    for (int height = 1; height <= 70; ++height) {
        for (int width = 1; width <= 70; ++width) {
            quality = quality % 100 + 1;
            const QByteArray jpeg = file({width, height}, quality);
            for (const int scale : SCALES)
                ASSERT_TRUE(
                    isSame(ourRows(jpeg, scale, {.threads = 1}), referenceRows(jpeg, scale)))
                    << scale << "/8, quality " << quality;
        }
    }
}

TEST_P(JpegDecoder, AllKernelsAreAsTheLibrary)
{
    int tested = 0;
    for (const JpegKernels *kernels : {&plainJpegKernels(), sse2JpegKernels(), avx2JpegKernels()}) {
        if (kernels == nullptr)
            continue;
        ++tested;
        for (int quality = 1; quality <= 100; ++quality) {
            const QByteArray jpeg = file({quality % 37 + 40, 60 - quality % 17}, quality);
            for (const int scale : SCALES)
                ASSERT_TRUE(isSame(ourRows(jpeg, scale, {.threads = 1, .kernels = *kernels}),
                                   referenceRows(jpeg, scale)))
                    << scale << "/8, quality " << quality << ", kernels " << tested;
        }
    }
}

TEST_P(JpegDecoder, RestartIntervalsAreAsInTheLibrary)
{
    for (const int interval : {1, 2, 3, 7, 13, 40, 1000}) {
        const QByteArray jpeg = file({203, 131}, 85, interval);
        for (const int scale : SCALES)
            for (const std::size_t partBytes : {1, 50, 300, 100'000})
                ASSERT_TRUE(isSame(ourRows(jpeg, scale, {.threads = 2, .partBytes = partBytes}),
                                   referenceRows(jpeg, scale)))
                    << interval << " MCUs, parts of " << partBytes;
    }
}

TEST_P(JpegDecoder, CutsAnywhereChangeNothing)
{
    const QByteArray jpeg = file({150, 90}, 90);
    const DecodedRows reference = referenceRows(jpeg, 8);
    for (std::size_t partBytes = 1; partBytes < static_cast<std::size_t>(jpeg.size()) / 2;
         partBytes += partBytes < 300 ? 1 : 37)
        ASSERT_TRUE(isSame(ourRows(jpeg, 8, {.threads = 3, .partBytes = partBytes}), reference))
            << "parts of " << partBytes;
}

TEST_P(JpegDecoder, AnyNumberOfThreadsGivesTheSame)
{
    const QByteArray jpeg = file({640, 400}, 92);
    for (const int scale : SCALES) {
        const DecodedRows reference = referenceRows(jpeg, scale);
        for (int threads = 1; threads <= 16; ++threads)
            for (const std::size_t partBytes : {2000, 9000})
                ASSERT_TRUE(isSame(
                    ourRows(jpeg, scale, {.threads = threads, .partBytes = partBytes}), reference))
                    << threads << " threads, parts of " << partBytes;
    }
}

/// What becomes of the guesses when a scan is decoded part by part.
struct Guesses
{
    std::size_t parts = 0;
    int misses = 0; ///< Those that never fall into step.
    bool areSound = true;
};

/// Those of @p jpeg in parts of @p partBytes.
Guesses guessesOf(const QByteArray &jpeg, std::size_t partBytes)
{
    const Headers headers = headersOf(jpeg);
    const auto scan = JpegScan::read(SourceFile::fromBytes(jpeg), headers.scan, jpeg.size(), false);
    const auto reader = JpegBlockReader::make(*headers.frame);
    const std::int64_t blocks = layoutOf(*headers.frame, 8).blocks();
    const JpegParts parts(*scan, *reader, *headers.frame, blocks, partBytes);
    Guesses guesses{.parts = parts.count()};
    JpegPartResult before;
    parts.decode(parts.part(0), before);
    for (std::size_t i = 1; i < parts.count(); ++i) {
        JpegPartResult guess;
        parts.decode(parts.part(i), guess);
        JpegBlocks gap;
        bool isSound = false;
        const bool isMet =
            parts.decodeUntilMet(parts.part(i), &guess, blocks, before.end, gap, isSound)
                .has_value();
        guesses.areSound = guesses.areSound && isSound;
        guesses.misses += isMet ? 0 : 1;
        if (isMet)
            before = std::move(guess);
    }
    return guesses;
}

TEST_P(JpegDecoder, GuessedPartsFallIntoStep)
{
    const QByteArray jpeg = file({640, 400}, 92);
    ASSERT_TRUE(headersOf(jpeg).frame);
    const Guesses guesses = guessesOf(jpeg, 5000);
    EXPECT_GE(guesses.parts, 5U);
    EXPECT_EQ(guesses.misses, 0);
    EXPECT_TRUE(guesses.areSound);
}

// Every MCU of a flat picture is the same few bits, which are codes from another bit on, too.
TEST(JpegDecoderOfFlatPictures, PartsThatNeverFallIntoStepChangeNothing)
{
    QImage flat(QSize(1600, 1200), QImage::Format_RGB32);
    flat.fill(QColor(90, 120, 60));
    const QByteArray jpeg = pictures::encodeJpeg(flat);
    int most = 0;
    for (std::size_t partBytes = 101; partBytes < 120; ++partBytes) {
        most = std::max(most, guessesOf(jpeg, partBytes).misses);
        for (const int scale : SCALES)
            ASSERT_TRUE(isSame(ourRows(jpeg, scale, {.threads = 3, .partBytes = partBytes}),
                               referenceRows(jpeg, scale)))
                << scale << "/8, parts of " << partBytes;
    }
    EXPECT_GT(most, 100);
}

// Where codes are short, the look that gives a block's last coefficient also sees the next block's
// first code.
TEST(JpegDecoderOfFullBlocks, LastCoefficientEndsABlockWhateverFollows)
{
    constexpr std::array LAST_PLACES{47, 54, 55, 61, 62, 63};
    std::mt19937 random(1);
    std::vector<std::array<std::int16_t, 64>> blocks(500);
    for (auto &block : blocks) {
        block[0] = static_cast<std::int16_t>(random() % 3);
        for (const int place : LAST_PLACES)
            block[static_cast<std::size_t>(place)] = static_cast<std::int16_t>(random() % 3 - 1);
    }
    const QByteArray jpeg = jpegOfBlocks(blocks);
    for (const int scale : SCALES)
        EXPECT_TRUE(isSame(ourRows(jpeg, scale, {.threads = 1}), referenceRows(jpeg, scale)))
            << scale << "/8";
}

/// @p jpeg's scan begins here.
qsizetype scanOf(const QByteArray &jpeg)
{
    return static_cast<qsizetype>(headersOf(jpeg).scan);
}

/// Whether ours is the reference as far as it goes, and what is left is grey.
testing::AssertionResult isBeginningOf(const DecodedRows &ours, const DecodedRows &reference)
{
    if (ours.size != reference.size)
        return testing::AssertionFailure() << "another size";
    const auto come = ours.pixels.begin() + std::ptrdiff_t{ours.rows} * ours.size.width();
    const auto [mine, its] = std::mismatch(ours.pixels.begin(), come, reference.pixels.begin());
    if (mine != come)
        return testing::AssertionFailure()
               << "row " << (mine - ours.pixels.begin()) / ours.size.width() << " of " << ours.rows;
    if (std::any_of(come, ours.pixels.end(), [](Pixel pixel) { return pixel != MISSING; }))
        return testing::AssertionFailure() << "not grey behind row " << ours.rows;
    return testing::AssertionSuccess();
}

const std::vector<JpegWork> WORKS{
    {.threads = 1}, {.threads = 1, .partBytes = 64}, {.threads = 3, .partBytes = 200}};

/// Decodes @p jpeg in all ways; the most rows that one of them gave.
int checkedRows(const QByteArray &jpeg)
{
    int most = 0;
    for (const int scale : SCALES) {
        const DecodedRows reference = referenceRows(jpeg, scale);
        if (reference.rows == 0 || !headersOf(jpeg).frame)
            continue;
        for (const JpegWork &work : WORKS) {
            const DecodedRows ours = ourRows(jpeg, scale, work);
            EXPECT_TRUE(isBeginningOf(ours, reference)) << scale << "/8";
            most = std::max(most, ours.rows);
        }
    }
    return most;
}

TEST_P(JpegDecoder, FileCutAnywhereGivesTheRowsBeforeTheCut)
{
    const QByteArray jpeg = file({90, 70}, 85, 5);
    int most = 0;
    for (qsizetype cut = scanOf(jpeg) + 1; cut < jpeg.size(); cut += 7)
        most = std::max(most, checkedRows(jpeg.first(cut)));
    EXPECT_GT(most, 0);
    EXPECT_LE(most, 70);
}

TEST_P(JpegDecoder, DamagedFilesGiveTheRowsBeforeTheDamage)
{
    const QByteArray plain = file({90, 70}, 85);
    const QByteArray withRestarts = file({90, 70}, 85, 3);
    int most = 0;
    for (unsigned seed = 0; seed < 150; ++seed) {
        const QByteArray &jpeg = seed % 2 == 0 ? plain : withRestarts;
        const qsizetype scan = scanOf(jpeg);
        most = std::max(most, checkedRows(jpeg.first(scan) + damaged(jpeg.mid(scan), seed)));
    }
    EXPECT_GT(most, 0);
}

TEST_P(JpegDecoder, WrongRestartNumberEndsIt)
{
    const QByteArray jpeg = file({90, 70}, 85, 2);
    QByteArray damagedJpeg = jpeg;
    const qsizetype third = damagedJpeg.indexOf("\xff\xd2", scanOf(jpeg));
    ASSERT_GT(third, 0);
    damagedJpeg[third + 1] = '\xd6';
    const DecodedRows ours = ourRows(damagedJpeg, 8, {.threads = 2, .partBytes = 100});
    EXPECT_FALSE(ours.isWhole);
    EXPECT_TRUE(isBeginningOf(ours, referenceRows(damagedJpeg, 8)));
}

TEST_P(JpegDecoder, FillingBeforeMarkersChangesNothing)
{
    const QByteArray jpeg = file({90, 70}, 85, 2);
    QByteArray filled = jpeg;
    for (int number = 0; number < 8; ++number) {
        const QByteArray marker{"\xff" + QByteArray(1, static_cast<char>(0xd0 + number))};
        filled.replace(marker, "\xff\xff" + marker);
    }
    ASSERT_GT(filled.size(), jpeg.size());
    EXPECT_TRUE(
        isSame(ourRows(filled, 8, {.threads = 2, .partBytes = 100}), referenceRows(jpeg, 8)));
}

TEST_P(JpegDecoder, StrayBytesBeforeMarkersChangeNothing)
{
    const QByteArray jpeg = file({90, 70}, 85, 2);
    QByteArray strayed = jpeg;
    const qsizetype first = strayed.indexOf("\xff\xd0", scanOf(jpeg));
    ASSERT_GT(first, 0);
    strayed.insert(first, QByteArray(40, '\x5a'));
    for (const JpegWork &work : WORKS)
        EXPECT_TRUE(isSame(ourRows(strayed, 8, work), referenceRows(strayed, 8)));
}

TEST(JpegFrames, OtherKindsAreLeftToTheLibrary)
{
    EXPECT_FALSE(headersOf(jpegFile({40, 40}, {.isProgressive = true})).frame);
    EXPECT_FALSE(headersOf(jpegFile({40, 40}, {.sampling = {3, 1}})).frame);
    EXPECT_FALSE(headersOf(jpegFile({40, 40}, {.sampling = {2, 4}})).frame);
    EXPECT_TRUE(headersOf(jpegFile({40, 40}, {.sampling = {4, 1}})).frame);
}

class JpegSamples : public SampleTest
{};

TEST_F(JpegSamples, AreAsInTheLibrary)
{
    int compared = 0;
    for (const QJsonValue &entry : files()) {
        const std::string path = entry[QStringLiteral("path")].toString().toStdString();
        if (!path.ends_with(".jpg"))
            continue;
        const auto source = SourceFile::open(find(path));
        ASSERT_TRUE(source) << path;
        const QByteArray jpeg = source->bytesAt(0, source->size());
        const auto frame = headersOf(jpeg).frame;
        if (!frame || pixelCount(frame->size) > MAX_PIXELS / 6)
            continue;
        for (const int scale : SCALES) {
            const DecodedRows reference = referenceRows(jpeg, scale);
            const DecodedRows ours = ourRows(jpeg, scale, {.threads = 3, .partBytes = 20'000});
            if (ours.isWhole) {
                EXPECT_TRUE(isSame(ours, reference)) << path << " at " << scale << "/8";
                ++compared;
            } else {
                EXPECT_TRUE(path.starts_with("broken/")) << path;
                EXPECT_TRUE(isBeginningOf(ours, reference)) << path << " at " << scale << "/8";
            }
        }
    }
    EXPECT_GT(compared, 100);
}

} // namespace

} // namespace tavolin
