#pragma once
// The soft shadow that keeps text readable over bright pictures.

#include <QImage>

namespace tavolin {

/// How far the shadow reaches beyond the letters at most, in points: its offset and its blur.
inline constexpr int SHADOW_REACH = 3;

/// @p text, which is transparent but for its letters (ARGB32_Premultiplied), with their shadow
/// behind them: black of 90 %, one point to the right and one down, blurred by two points. The
/// picture's device pixel ratio says how many pixels a point takes. What would lie outside is cut
/// off.
[[nodiscard]] QImage withShadow(QImage text);

} // namespace tavolin
