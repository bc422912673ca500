#include "decoding/codecs/jpeg/JpegDecoder.h"

#include "JpegReference.h"

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

} // namespace

} // namespace tavolin
