#pragma once
// The lines of a self-test run, and what counts as passed. Pure functions; sizes are in pixels.

#include <QSize>
#include <QSizeF>
#include <QString>

#include <optional>

namespace tavolin {

/// The metadata that pictures for a self-test run carry as their camera's make.
inline constexpr QStringView BENCH_MAKE = u"TestMake";

/// How far a navigation run has come.
struct NavigationRun
{
    int steps = 0;
    int targetIndex = 0;
    int currentIndex = 0;
    int framesShown = 0; ///< Different pictures seen on screen.
    int cachedPictures = 0;
};

/// The figures of @p run on one line, and the verdict on the next: whether the picture has caught
/// up with the counter.
[[nodiscard]] QString navigationReport(const NavigationRun &run);

/// What was saved of a picture with @p edited pixels. Passed when the widths differ by less than 3;
/// heights are told, not compared.
[[nodiscard]] QString saveReport(std::optional<QSize> saved, QSize edited);

/// What metadata the saved file has, as plainText(). Passed with BENCH_MAKE and orientation 1.
[[nodiscard]] QString metadataReport(const std::optional<QString> &make, int orientation);

/// The @p result of a rotation for which @p expected was reckoned. Passed when each side is nearer
/// than 2 % and 4 pixels.
[[nodiscard]] QString rotationReport(QSize result, QSizeF expected);

} // namespace tavolin
