#pragma once
// Where LibRaw 0.20 and its successors differ. Whatever is here means the same with all of them.

#include <libraw/libraw.h>

namespace tavolin::libraw {

#if LIBRAW_COMPILE_CHECK_VERSION_NOTLESS(0, 21)

inline constexpr unsigned NO_DATA_ERROR_CALLBACK = LIBRAW_OPTIONS_NO_DATAERR_CALLBACK;
using Stream = LibRaw_abstract_datastream;

inline void limitMemory(LibRaw &raw, unsigned megabytes)
{
    raw.imgdata.rawparams.max_raw_memory_mb = megabytes;
}

/// Has the size of what has been opened be that of the picture. LibRaw knows for each camera how
/// wide the border of its sensor is; of one that it does not know it takes the border for picture,
/// though the file may tell. Not to be rendered after this, as colours might change places.
inline void leaveBorderOut(LibRaw &raw)
{
    const libraw_image_sizes_t &sizes = raw.imgdata.sizes;
    if (sizes.width == sizes.raw_width && sizes.height == sizes.raw_height)
        raw.adjust_to_raw_inset_crop(1);
}

#else

inline constexpr unsigned NO_DATA_ERROR_CALLBACK = LIBRAW_OPIONS_NO_DATAERR_CALLBACK;

/// Without a stream for the library that reads JPEG 2000.
class Stream : public LibRaw_abstract_datastream
{
public:
    void *make_jas_stream() final { return nullptr; }
};

inline void limitMemory(LibRaw &raw, unsigned megabytes)
{
    raw.imgdata.params.max_raw_memory_mb = megabytes;
}

/// It refuses most of what it knows no border of.
inline void leaveBorderOut(LibRaw &) {}

#endif

} // namespace tavolin::libraw
