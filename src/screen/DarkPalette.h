#pragma once
// The colours of windows beside the viewer's own: dark, as that is, so that nothing dazzles beside
// a picture.

#include <QPalette>

namespace tavolin {

/// What a dialog gets by setPalette().
[[nodiscard]] QPalette darkPalette();

} // namespace tavolin
