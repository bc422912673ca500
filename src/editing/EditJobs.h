#pragma once
// The work behind an edit: from a full picture and steps to pixels, at full size and ready for the
// screen. Free functions for any thread; a null picture gives a null one, and so, soon after it,
// does a requested stop. The reader turns the edited picture into the colours of the screen; where
// it can't, there is no edited picture.

#include "editing/EditOp.h"
#include "pixels/DisplayPicture.h"
#include "pixels/Image.h"

#include <QRectF>
#include <QSizeF>

#include <stop_token>
#include <vector>

namespace tavolin {

class PictureReader;

/// A picture with its edits.
struct EditedPicture
{
    Image image;            ///< At full size, upright, in the profile of its source.
    DisplayPicture display; ///< The same for the screen.

    [[nodiscard]] bool isNull() const { return image.isNull(); }
};

/// @p image, a picture at full size, in the colours of the screen and fitted there.
[[nodiscard]] DisplayPicture shownPicture(const PictureReader &reader, const Image &image,
                                          const DisplayTarget &target,
                                          const std::stop_token &stop = {});

/// A crop as the user sees it.
struct CropRequest
{
    QSizeF
        sourceSize;   ///< Pixels that the picture has as far as the user was told, before rotation.
    double angle = 0; ///< Degrees, clockwise.
    QRectF box;       ///< In pixels of a picture of that size, rotated.

    [[nodiscard]] bool operator==(const CropRequest &) const = default;
};

/// The size, in pixels, of what a picture told to have @p told is shown from, when its display
/// image has @p shown: @p told, or where the shapes differ, as those of a raw picture and its
/// preview may, the same width in the shape that is seen.
[[nodiscard]] QSizeF sizeInShapeOf(QSizeF told, QSize shown);

/// How large a display image of @p size has to be, 1 being its own size, so that it still fills its
/// place in @p area (view points, @p screenScale device pixels each) when rotated by @p angle
/// degrees.
[[nodiscard]] double previewScale(QSize size, double angle, const QRectF &area, double screenScale);

/// What a crop gives.
struct CropResult
{
    EditedPicture picture;
    std::vector<EditOp> steps; ///< That lead from the base to the picture.
};

/// Rotates and crops @p base, a picture at full size. The box is scaled where that has another size
/// than the user was told, as the preview of a raw file may: what was inside it is what comes out.
[[nodiscard]] CropResult cropPicture(const PictureReader &reader, Image base,
                                     const CropRequest &request, const DisplayTarget &target,
                                     const std::stop_token &stop = {});

/// @p source, a picture at full size, with @p steps applied in their order.
[[nodiscard]] EditedPicture replay(const PictureReader &reader, Image source,
                                   const std::vector<EditOp> &steps, const DisplayTarget &target,
                                   const std::stop_token &stop = {});

} // namespace tavolin
