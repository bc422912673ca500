#include "editing/EditJobs.h"

#include "editing/CropAngle.h"
#include "pixels/Geometry.h"
#include "pixels/PictureReader.h"
#include "pixels/Resample.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tavolin {

namespace {

EditedPicture editedPicture(const PictureReader &reader, const Image &image,
                            const DisplayTarget &target, const std::stop_token &stop)
{
    auto display = shownPicture(reader, image, target, stop);
    return display.isNull() ? EditedPicture() : EditedPicture{image, std::move(display)};
}

/// The whole pixels around @p box, whose edges may have been meant to lie between two.
QRect pixelsIn(const QRectF &box)
{
    // What reckoning in points leaves behind must not cost another row of pixels.
    constexpr double NOISE = 1e-6;
    const auto cleaned = [](double edge) {
        const double whole = std::round(edge);
        return std::abs(edge - whole) < NOISE ? whole : edge;
    };
    return integralRect(QRectF(QPointF(cleaned(box.x()), cleaned(box.y())),
                               QPointF(cleaned(maxX(box)), cleaned(maxY(box)))));
}

} // namespace

DisplayPicture shownPicture(const PictureReader &reader, const Image &image,
                            const DisplayTarget &target, const std::stop_token &stop)
{
    if (image.isNull() || stop.stop_requested())
        return {};
    // Reduced first: fewer pixels are left to convert.
    const Image onScreen =
        reader.converted(downscale(image, target.maxPixel), target.profile, stop);
    return makeDisplayPicture(onScreen, target, stop);
}

QSizeF sizeInShapeOf(QSizeF told, QSize shown)
{
    const double pixel = told.width() / shown.width();
    const double height = shown.height() * pixel;
    // The sides of a display image are whole pixels: each may be one off, and one in the width
    // makes height / width of them in the height.
    const double tolerance = pixel * (1 + std::max(1.0, told.height() / told.width()));
    return std::abs(height - told.height()) <= tolerance ? told : QSizeF(told.width(), height);
}

double previewScale(QSize size, double angle, const QRectF &area, double screenScale)
{
    const QSizeF inscribed = inscribedSize(size, angle);
    return fitRect(area, inscribed).width() * screenScale / inscribed.width();
}

CropResult cropPicture(const PictureReader &reader, Image base, const CropRequest &request,
                       const DisplayTarget &target, const std::stop_token &stop)
{
    if (base.isNull() || stop.stop_requested())
        return {};
    const double scale = base.width() / request.sourceSize.width();
    const QRect rect = pixelsIn({request.box.topLeft() * scale, request.box.size() * scale});
    CropResult result;
    if (isRotationApplied(request.angle)) {
        base = rotateInscribed(base, request.angle);
        result.steps.push_back(RotateOp{request.angle});
    }
    result.steps.push_back(CropOp{rect});
    result.picture = editedPicture(reader, base.cropped(rect), target, stop);
    return result;
}

EditedPicture replay(const PictureReader &reader, Image source, const std::vector<EditOp> &steps,
                     const DisplayTarget &target, const std::stop_token &stop)
{
    for (const EditOp &step : steps) {
        if (!source.isNull() && !stop.stop_requested())
            source = applyOp(source, step);
    }
    return editedPicture(reader, source, target, stop);
}

} // namespace tavolin
