#pragma once
// HEVC for libheif, through libde265 with buffers of ours. Usable from any thread.

namespace tavolin {

/// Makes libheif decode HEVC as this file does it, now and from now on: each picture's buffer is
/// grey before the decoder sees it, so that what a broken stream leaves out has one colour; a
/// picture over the limits has no buffer; and a stream that changes its size half-way, behind the
/// back of whoever has looked at its header, is refused.
void useOwnHevcDecoder();

} // namespace tavolin
