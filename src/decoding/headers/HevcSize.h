#pragma once
// The size that an HEVC stream has, whatever the file around it says.

#include "decoding/headers/Boxes.h"

#include <QSize>

#include <optional>
#include <span>

namespace tavolin {

/// The size of the pictures that the sequence parameter set @p unit (ITU-T H.265, 7.3.2.2; with the
/// two bytes of its header) is for. Empty when it is broken off or makes no sense.
[[nodiscard]] std::optional<QSize> hevcSizeOf(ByteSpan unit);

/// The size that the decoder configuration @p hvcC (ISO/IEC 14496-15, 8.3.3.1) is for; an empty
/// QSize when its parameter sets are for different ones or can't be read. Nothing when it has none.
[[nodiscard]] std::optional<QSize> readHevcSize(FieldReader &fields, const Box &hvcC);

} // namespace tavolin
