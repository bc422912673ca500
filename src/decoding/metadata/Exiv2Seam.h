#pragma once
// Where Exiv2 0.27 and 0.28 differ. Whatever is here means the same with both.

#include <cstddef>
#include <cstdint>
#include <string>

#include <exiv2/exiv2.hpp>

namespace tavolin::exiv2 {

#if EXIV2_TEST_VERSION(0, 28, 0)

/// Numbers of bytes, and positions.
using Count = std::size_t;
/// What BasicIo tells as its name.
using Path = const std::string &;
using Error = Exiv2::Error;
using IoPointer = Exiv2::BasicIo::UniquePtr;

[[nodiscard]] inline Exiv2::byte *bytesOf(Exiv2::DataBuf &buffer)
{
    return buffer.data();
}
[[nodiscard]] inline const Exiv2::byte *bytesOf(const Exiv2::DataBuf &buffer)
{
    return buffer.c_data();
}
[[nodiscard]] inline std::size_t sizeOf(const Exiv2::DataBuf &buffer)
{
    return buffer.size();
}
inline void shorten(Exiv2::DataBuf &buffer, Count size)
{
    buffer.resize(size);
}
/// Of a value, or of a datum.
template <typename Value>
[[nodiscard]] std::int64_t wholeNumber(const Value &value)
{
    return value.toInt64();
}
/// Boxes, as HEIF and CR3 have them, are always read.
inline void readBoxes() {}

#else

using Count = long;
using Path = std::string;
using Error = Exiv2::AnyError;
using IoPointer = Exiv2::BasicIo::AutoPtr;

[[nodiscard]] inline Exiv2::byte *bytesOf(const Exiv2::DataBuf &buffer)
{
    return buffer.pData_;
}
[[nodiscard]] inline std::size_t sizeOf(const Exiv2::DataBuf &buffer)
{
    return static_cast<std::size_t>(buffer.size_);
}
inline void shorten(Exiv2::DataBuf &buffer, Count size)
{
    buffer.size_ = size;
}
template <typename Value>
[[nodiscard]] std::int64_t wholeNumber(const Value &value)
{
    return value.toLong();
}
inline void readBoxes()
{
    Exiv2::enableBMFF(true);
}

#endif

} // namespace tavolin::exiv2
