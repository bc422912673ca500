#pragma once
// What a PNG says of its colours, as an ICC profile.

#include "decoding/codecs/PngChunks.h"
#include "decoding/SourceFile.h"

#include <QByteArray>

namespace tavolin {

/// The profile that @p chunks of @p file stand for (PNG, third edition, 11.3.2): of cICP, iCCP,
/// sRGB and last gAMA with cHRM, the first that is there, whole and understood. cICP counts where
/// it says sRGB, Display P3 or BT.709, whose pictures are shown as sRGB is. Without cHRM the
/// primaries are those of sRGB, without gAMA the curve. Empty: sRGB, or nothing is said. @p isGrey
/// says what the samples are, and with that which profiles they can have.
[[nodiscard]] QByteArray pngProfile(const SourceFile &file, const PngColorChunks &chunks,
                                    bool isGrey);

} // namespace tavolin
