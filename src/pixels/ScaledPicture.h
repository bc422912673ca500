#pragma once
// What a decoder makes of one file for the screen: the picture in one or two sizes, each scaled in
// one step from the rows that it decodes. Free functions for any thread.

#include "pixels/DisplayPicture.h"
#include "pixels/Image.h"
#include "pixels/Orientation.h"

#include <QSize>

#include <stop_token>

namespace tavolin {

/// The sizes of one picture in pixels, both reduced from the same rows.
struct PictureSizes
{
    QSize image;
    QSize rendition = {}; ///< Empty where it is not wanted beside the image.

    /// The longest side that the decoded rows must have, so that nothing gets blurred.
    [[nodiscard]] int longestSide() const;
};

/// How large a picture is wanted, before its size is known.
class SizeRule
{
public:
    /// Its longest side at most @p maxPixel. On purpose no explicit one: a limit is all that most
    /// callers have.
    SizeRule(int maxPixel) : m_target{.maxPixel = maxPixel} {}
    /// As @p target says.
    explicit SizeRule(const DisplayTarget &target) : m_target(target) {}

    /// The sizes of a picture of @p stored pixels; empty without a limit to keep to. The rendition
    /// is left out unless both are reduced, the rendition more so: what is not reduced, or not
    /// further, loses nothing on its way through the image.
    [[nodiscard]] PictureSizes sizesOf(QSize stored) const;

    /// The same for a picture that will be turned by @p orientation afterwards.
    [[nodiscard]] SizeRule beforeTurning(Orientation orientation) const;

private:
    DisplayTarget m_target;
};

struct ScaledPicture
{
    Image image;
    Image rendition = {}; ///< Null where it is to be made of the image.

    [[nodiscard]] bool isNull() const { return image.isNull(); }
};

/// Both upright; see Orientation.h. Null where one of them can't be.
[[nodiscard]] ScaledPicture turnedUpright(const ScaledPicture &picture, Orientation orientation);

/// @p picture, which is in sRGB, as it is shown on @p target. Null for a null picture and once @p
/// stop is requested.
[[nodiscard]] DisplayPicture makeDisplayPicture(const ScaledPicture &picture,
                                                const DisplayTarget &target,
                                                std::stop_token stop = {});

} // namespace tavolin
