#include "browse/ThumbCache.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>
#include <utility>
#include <vector>

namespace tavolin {
namespace {

/// A display picture of which each pixel is @p value.
DisplayPicture pictureOf(Pixel value)
{
    PixelBuffer pixels(QSize(2, 1));
    pixels.row(0)[0] = pixels.row(0)[1] = value;
    const Image image = std::move(pixels).toImage(Alpha::Opaque);
    return {image, image};
}

void fill(ThumbCache &cache, int first, int last)
{
    for (int index = first; index <= last; ++index)
        cache.set(index, pictureOf(0));
}

/// The indices from -10 to 30 that are in @p cache.
std::set<int> indices(const ThumbCache &cache)
{
    std::set<int> found;
    for (int index = -10; index <= 30; ++index) {
        if (cache.get(index))
            found.insert(index);
    }
    return found;
}

TEST(ThumbCache, IsEmptyAtFirst)
{
    const ThumbCache cache;
    EXPECT_EQ(cache.count(), 0);
}

TEST(ThumbCache, GivesThePictureThatWasStored)
{
    ThumbCache cache;
    const DisplayPicture picture = pictureOf(1);
    cache.set(5, picture);
    const auto found = cache.get(5);
    ASSERT_TRUE(found);
    EXPECT_TRUE(found->image.isSameAs(picture.image));
    EXPECT_TRUE(found->rendition.isSameAs(picture.rendition));
}

TEST(ThumbCache, StoringAgainReplaces)
{
    ThumbCache cache;
    const DisplayPicture newest = pictureOf(2);
    cache.set(5, pictureOf(1));
    cache.set(5, newest);
    EXPECT_EQ(cache.count(), 1);
    ASSERT_TRUE(cache.get(5));
    EXPECT_TRUE(cache.get(5)->image.isSameAs(newest.image));
}

TEST(ThumbCache, AskingForAnAbsentPictureCreatesNothing)
{
    const ThumbCache cache;
    EXPECT_FALSE(cache.get(7));
    EXPECT_EQ(cache.count(), 0);
}

TEST(ThumbCache, EvictingAroundTheFirstKeepsThreeBehindIt)
{
    ThumbCache cache;
    fill(cache, 0, 10);
    cache.evict(0);
    EXPECT_EQ(indices(cache), (std::set{0, 1, 2, 3}));
}

TEST(ThumbCache, EvictingKeepsDistanceThreeAndDropsDistanceFour)
{
    ThumbCache cache;
    fill(cache, 0, 20);
    cache.evict(10);
    EXPECT_EQ(indices(cache), (std::set{7, 8, 9, 10, 11, 12, 13}));
}

TEST(ThumbCache, EvictingFarAwayDropsAll)
{
    ThumbCache cache;
    fill(cache, 0, 5);
    cache.evict(1000);
    EXPECT_EQ(cache.count(), 0);
}

TEST(ThumbCache, ClearingDropsAll)
{
    ThumbCache cache;
    fill(cache, 0, 6);
    cache.clear();
    EXPECT_EQ(cache.count(), 0);
    EXPECT_TRUE(indices(cache).empty());
}

TEST(ThumbCache, StandsUseByManyThreads)
{
    constexpr int ROUNDS = 2000;
    constexpr int INDICES = 12;
    ThumbCache cache;
    {
        std::vector<std::jthread> threads;
        for (int writer = 0; writer < 2; ++writer) {
            threads.emplace_back([&cache] {
                for (int round = 0; round < ROUNDS; ++round)
                    cache.set(round % INDICES, pictureOf(static_cast<Pixel>(round % INDICES)));
            });
        }
        threads.emplace_back([&cache] {
            for (int round = 0; round < ROUNDS; ++round) {
                cache.evict(round % INDICES);
                if (round % 100 == 0)
                    cache.clear();
            }
        });
        for (int round = 0; round < ROUNDS; ++round) {
            const int index = round % INDICES;
            const auto picture = cache.get(index);
            EXPECT_TRUE(!picture || picture->image.row(0)[1] == static_cast<Pixel>(index));
            EXPECT_LE(cache.count(), INDICES);
        }
    }
    cache.evict(5);
    EXPECT_LE(cache.count(), 7);
}

} // namespace
} // namespace tavolin
