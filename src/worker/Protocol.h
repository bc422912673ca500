#pragma once
// What the viewer and its workers say to each other. Requests and replies are structs of fixed size
// on a stream socket, some followed by blocks of bytes whose lengths they tell; pixels go through
// memory that both map. Both ends are of the same build. Nothing in a reply can be relied
// on: the worker that wrote it may be a file's by now.

#include "pixels/DisplayPicture.h"
#include "pixels/JpegWriter.h"
#include "pixels/Limits.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace tavolin::worker {

// The descriptors that a worker is born with, beside the standard three.
inline constexpr int CHANNEL_DESCRIPTOR = 3; ///< The socket of requests and replies.
inline constexpr int LIFELINE_DESCRIPTOR =
    4;                                      ///< Numbers of requests to stop; ends with the viewer.
inline constexpr int MEMORY_DESCRIPTOR = 5; ///< The shared memory.
inline constexpr int DESCRIPTORS = 6;

/// The ring: a slot is small enough to stay in the processor's cache on its way from one process to
/// the other, and has room for the longest row.
inline constexpr int SLOTS = 4;
inline constexpr std::size_t SLOT_BYTES = std::size_t{1} << 20;
inline constexpr std::size_t RING_BYTES = SLOTS * SLOT_BYTES;
static_assert(MAX_SIDE_PX * sizeof(std::uint32_t) <= SLOT_BYTES);

/// What both map: the ring, and behind it room for a picture, of which the system gives as much as
/// is used.
inline constexpr std::size_t PICTURE_BYTES = sizeof(std::uint32_t) * MAX_PIXELS;
/// What of it pictures for the screen may take: the display image, and behind that a rendition,
/// which is smaller, or one at the pixels of a large screen. Larger ones come through the ring.
inline constexpr std::size_t DISPLAY_BYTES =
    sizeof(std::uint32_t) * MAX_DISPLAY_PIXELS * MAX_DISPLAY_PIXELS;
inline constexpr std::size_t RENDITION_OFFSET = DISPLAY_BYTES;
inline constexpr std::size_t RENDITION_BYTES = sizeof(std::uint32_t) * 5120 * 2880;
inline constexpr std::size_t PLACE_BYTES = RENDITION_OFFSET + RENDITION_BYTES;
static_assert(RENDITION_BYTES >= DISPLAY_BYTES);
inline constexpr std::size_t MEMORY_BYTES = RING_BYTES + PICTURE_BYTES;

/// Most cameras' full pictures are not larger: their memory is made ready while they are decoded,
/// and kept for the next one. That of larger ones is given back piece by piece as they are copied,
/// so that they are not held twice.
inline constexpr std::int64_t MAX_KEPT_PIXELS = 64'000'000;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool IS_SANITIZED = true;
#else
inline constexpr bool IS_SANITIZED = false;
#endif
/// How a worker ends about which a sanitizer has something to say.
inline constexpr int SANITIZER_EXIT_CODE = 86;

/// What a worker is for, which decides its limits.
enum class Role : std::uint32_t {
    Display, ///< Pictures for the screen that somebody waits for.
    Ahead,   ///< Pictures that may be wanted soon, and facts; gives way to everything else.
    Full,    ///< Pictures at full size and what belongs to saving: more memory.
};
inline constexpr int ROLES = 3;

/// The address space of a worker, in bytes. For a full picture: itself twice (turning it), what its
/// decoder holds, and a file that is held whole, with room for the program; see Limits.h.
inline constexpr std::int64_t DISPLAY_MEMORY_BYTES = std::int64_t{2} << 30;
inline constexpr std::int64_t FULL_MEMORY_BYTES = std::int64_t{4} << 30;
static_assert(std::int64_t{MEMORY_BYTES + PICTURE_BYTES} + MAX_DECODER_BYTES +
                  MAX_WHOLE_FILE_BYTES <
              FULL_MEMORY_BYTES - (std::int64_t{256} << 20));

enum class Task : std::uint32_t {
    Begin,       ///< The first: what the worker is for. Answered once its walls stand.
    Display,     ///< The picture in the file, within maxPixel, in the monitor's colours, and where
                 ///< it is smaller the rendition for an area of the screen. Their rows can be
                 ///< fetched.
    Full,        ///< The same at full size, its colours as wanted.
    PixelSize,   ///< Width and height as seen upright.
    Facts,       ///< What the picture says of itself.
    Metadata,    ///< What an edited copy of the given size carries.
    IsSaved,     ///< Done where the picture says that this program has saved it.
    Rows,        ///< Some rows of the last picture, into a slot; none: it is not wanted any more.
    Convert,     ///< The profile of the pixels that ConvertRows will bring.
    ConvertRows, ///< The pixels in a slot, into the monitor's colours, in place.
};

/// From the viewer. With Display, Full, PixelSize, Facts, Metadata and IsSaved comes the file's
/// descriptor, open for reading only.
struct Request
{
    Task task = Task::Begin;
    std::uint32_t number = 0; ///< Of the request: never 0, another for each.
    Role role = Role::Display;
    std::uint32_t isRawName = 0;   ///< 1: the file has a raw extension.
    std::uint32_t keepsColors = 0; ///< Full: 1 for those of the file, 0 for the monitor's.
    std::uint32_t alpha = 0;       ///< Convert: tavolin::Alpha of the pixels.
    std::int32_t maxPixel = 0;     ///< Display: as in DisplayTarget.
    double areaWidth = 0;          ///< Display: of the target's area; 0 for no rendition.
    double areaHeight = 0;
    double scale = 1;
    std::int32_t width = 0; ///< Display: as in DisplayTarget::exactly. Metadata: of the copy.
                            ///< Convert: of a row.
    std::int32_t height = 0;
    std::uint32_t slot = 0;        ///< Rows, ConvertRows.
    std::uint32_t ofRendition = 0; ///< Rows: 1 where not those of the image are meant.
    std::int32_t firstRow = 0;
    std::int32_t rowCount = 0;
    std::int64_t fileBytes = 0;    ///< The file's size.
    std::int64_t profileBytes = 0; ///< Convert: the length of the profile that follows.
    /// Display, Full, Convert: that of the monitor's profile, which follows then; 0: it is sRGB.
    std::int64_t monitorBytes = 0;
};
static_assert(std::is_trivially_copyable_v<Request>);

enum class Outcome : std::uint32_t {
    Done,
    Failed,
    Announced, ///< Not the reply yet: how large the picture under way is, as stored.
};

/// The parts that the wall around a worker may have, as bits.
enum class WallPart : std::uint32_t {
    Memory = 1,
    ProcessorTime = 2,
    Descriptors = 4,
    NoCoreFile = 8,
    NoNewPrivileges = 16,
    Landlock = 32,
    Seccomp = 64,
};

/// Numbers that Facts may find; and which of them are there, as bits 1, 2, 4, … in this order,
/// followed by those of the texts.
struct FactsFields
{
    double focalLength = 0;
    double fNumber = 0;
    double exposureTime = 0;
    std::int64_t iso = 0;
    std::uint32_t present = 0;
    std::uint32_t orientation = 0; ///< As in EXIF.
};

/// Where the rows of a picture are, which stay until the next request.
enum class Place : std::uint32_t {
    Elsewhere, ///< In the worker: they are to be fetched.
    Front,     ///< Behind the ring, one after the other.
    Back,      ///< The same from RENDITION_OFFSET on.
};

/// The blocks that follow a reply. Facts: make, model, lens, time, as UTF-8. Metadata: EXIF, XMP,
/// Photoshop's, the default profile, comments. A full picture whose
/// colours are kept: its profile.
inline constexpr int BLOCKS = 8;
inline constexpr int FIRST_COMMENT = 4;
static_assert(FIRST_COMMENT + JpegMetadata::MAX_COMMENTS == BLOCKS);

/// From the worker.
struct Reply
{
    std::uint32_t number = 0; ///< Of the request.
    Outcome outcome = Outcome::Failed;
    std::int32_t width = 0; ///< Of a picture, or a size that was asked for; 0 where it isn't known.
    std::int32_t height = 0;
    std::int32_t fullWidth =
        0; ///< Display: of the file's picture, upright; 0 where it isn't known.
    std::int32_t fullHeight = 0;
    std::uint32_t alpha = 0;          ///< tavolin::Alpha of the picture.
    std::uint32_t wall = 0;           ///< Begin: the parts that stand.
    std::uint32_t landlock = 0;       ///< Begin: the version of Landlock's interface.
    std::uint32_t changesNothing = 0; ///< Convert: 1 where the pixels are right as they are.
    Place place = Place::Elsewhere;   ///< Display, Full: where the picture is.
    std::int32_t renditionWidth = 0;  ///< Display: 0 where the viewer is to make the rendition.
    std::int32_t renditionHeight = 0;
    Place renditionPlace = Place::Elsewhere;
    std::uint32_t densityUnit = 0; ///< Metadata: as in PixelDensity.
    std::uint32_t densityX = 1;
    std::uint32_t densityY = 1;
    FactsFields facts;
    std::array<std::int64_t, BLOCKS> blockBytes{};
};
static_assert(std::is_trivially_copyable_v<Reply>);

} // namespace tavolin::worker
