#pragma once
// The numbers of TIFF and EXIF: types of values and tags, as far as we read them.

#include <cstdint>

namespace tavolin {

/// Types of values: TIFF 6.0, section 2, and BigTIFF.
namespace tiff_type {
inline constexpr std::uint16_t BYTE = 1;
inline constexpr std::uint16_t ASCII = 2;
inline constexpr std::uint16_t SHORT = 3;
inline constexpr std::uint16_t LONG = 4;
inline constexpr std::uint16_t RATIONAL = 5;
inline constexpr std::uint16_t UNDEFINED = 7;
inline constexpr std::uint16_t SIGNED_RATIONAL = 10;
inline constexpr std::uint16_t IFD = 13;
inline constexpr std::uint16_t LONG8 = 16;
inline constexpr std::uint16_t IFD8 = 18;
inline constexpr std::uint16_t UTF8 = 129; ///< EXIF 3.0, 4.6.2
} // namespace tiff_type

namespace tag {

// The main directory: TIFF 6.0, section 8; TIFF/EP; DNG 1.6, chapter 4.
inline constexpr std::uint16_t IMAGE_WIDTH = 0x0100;
inline constexpr std::uint16_t IMAGE_LENGTH = 0x0101;
inline constexpr std::uint16_t PHOTOMETRIC = 0x0106;
inline constexpr std::uint16_t MAKE = 0x010f;
inline constexpr std::uint16_t MODEL = 0x0110;
inline constexpr std::uint16_t STRIP_OFFSETS = 0x0111;
inline constexpr std::uint16_t ORIENTATION = 0x0112;
inline constexpr std::uint16_t STRIP_BYTE_COUNTS = 0x0117;
inline constexpr std::uint16_t TILE_OFFSETS = 0x0144;
inline constexpr std::uint16_t TILE_BYTE_COUNTS = 0x0145;
inline constexpr std::uint16_t SUB_DIRECTORIES = 0x014a;
inline constexpr std::uint16_t JPEG_OFFSET = 0x0201;
inline constexpr std::uint16_t JPEG_LENGTH = 0x0202;
inline constexpr std::uint16_t XMP = 0x02bc;
inline constexpr std::uint16_t PHOTOSHOP = 0x8649; ///< Its resources.
inline constexpr std::uint16_t EXIF_DIRECTORY = 0x8769;
inline constexpr std::uint16_t GPS_DIRECTORY = 0x8825;
inline constexpr std::uint16_t DNG_VERSION = 0xc612;

// The EXIF directory: EXIF 2.32, 4.6.3 and 4.6.5.
inline constexpr std::uint16_t EXPOSURE_TIME = 0x829a;
inline constexpr std::uint16_t F_NUMBER = 0x829d;
inline constexpr std::uint16_t ISO_SPEED_RATINGS = 0x8827;
inline constexpr std::uint16_t DATE_TIME_ORIGINAL = 0x9003;
inline constexpr std::uint16_t FOCAL_LENGTH = 0x920a;
inline constexpr std::uint16_t MAKER_NOTE = 0x927c;
inline constexpr std::uint16_t COLOR_SPACE = 0xa001;
inline constexpr std::uint16_t PIXEL_X_DIMENSION = 0xa002;
inline constexpr std::uint16_t PIXEL_Y_DIMENSION = 0xa003;
inline constexpr std::uint16_t INTEROP_DIRECTORY = 0xa005;
inline constexpr std::uint16_t LENS_MODEL = 0xa434;

// The interoperability directory: DCF 2.0.
inline constexpr std::uint16_t INTEROP_INDEX = 0x0001;

// RW2's main directory: the edges of the picture on the sensor, and the JPEGs
// that are seen, of which newer cameras have a second one in full size.
inline constexpr std::uint16_t RW2_TOP = 0x0004;
inline constexpr std::uint16_t RW2_LEFT = 0x0005;
inline constexpr std::uint16_t RW2_BOTTOM = 0x0006;
inline constexpr std::uint16_t RW2_RIGHT = 0x0007;
inline constexpr std::uint16_t RW2_JPEG = 0x002e;
inline constexpr std::uint16_t RW2_LARGER_JPEG = 0x0127;

} // namespace tag

} // namespace tavolin
