#pragma once
// The aspect ratios of a crop and the wording of the crop bar. Pure functions; ratios are width by
// height.

#include <QColor>
#include <QSize>
#include <QString>

#include <array>
#include <cstdint>
#include <optional>

namespace tavolin {

/// What is chosen or stands out in the crop bar.
inline constexpr QColor ACCENT{0, 191, 255};

/// The ratios that have a button and a key of their own, in that order.
enum class RatioPreset : std::uint8_t { Free, Original, Square, FourByThree, SixteenByNine };

inline constexpr std::array RATIO_PRESETS{RatioPreset::Free, RatioPreset::Original,
                                          RatioPreset::Square, RatioPreset::FourByThree,
                                          RatioPreset::SixteenByNine};

/// A ratio to hold the crop box to; an empty one is free.
struct RatioChoice
{
    std::optional<double> ratio;
    QString name;
};

/// The name of @p preset, which is also its button's label.
[[nodiscard]] QString ratioName(RatioPreset preset);

/// @p preset for a picture of @p imageSize pixels. Empty when it is the picture's own ratio and
/// that is not known.
[[nodiscard]] std::optional<RatioChoice> ratioChoice(RatioPreset preset,
                                                     std::optional<QSize> imageSize);

/// @p name with its sides swapped when it is of the form a:b ("16:9" becomes "9:16", a doubled
/// colon one), else unchanged.
[[nodiscard]] QString flipRatioName(const QString &name);

/// Whether the button of @p preset is lit for the ratio called @p name: it is that ratio, or that
/// ratio turned by a quarter.
[[nodiscard]] bool isSelected(RatioPreset preset, const QString &name);

/// Whether @p name is none of the presets, turned by a quarter or not.
[[nodiscard]] bool isCustomRatio(const QString &name);

/// The ratio that @p text (width:height) names. Parts that are not finite decimal numbers don't
/// count, so that "16:a:10" is 1.6; empty unless two numbers above 0 are left whose ratio is no
/// more than a million either way.
[[nodiscard]] std::optional<double> parseCustomRatio(const QString &text);

/// @p degrees as the crop bar shows them: with a sign if turned; "0.0°" is not.
[[nodiscard]] QString angleText(double degrees);

} // namespace tavolin
