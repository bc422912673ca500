// Whether the pieces of a HEIF picture fit together. Libraries make a derived picture's canvas as
// large as one box says and fill as much of it as others do.

#include "decoding/headers/HeifItems.h"
#include "decoding/headers/HevcSize.h"
#include "pixels/Limits.h"

#include <algorithm>

namespace tavolin {

namespace {

/// Grids of overlays of grids exist in standards only.
constexpr int MAX_DEPTH = 4;
/// Items that one picture is made of, counted as often as they are used: five of the largest
/// pictures in tiles of the usual size.
constexpr int MAX_PIECES = 2048;
/// The same in pixels: what is decoded and each canvas that it is put together on, with alpha.
constexpr std::int64_t MAX_PIECE_PIXELS = 2 * MAX_PIXELS;
/// Turning, mirroring and cropping once each is all that one picture needs.
constexpr std::ptrdiff_t MAX_TURNS = 8;

/// What a grid or an overlay says of itself (ISO/IEC 23008-12, 6.6.2.3).
struct Canvas
{
    QSize size;
    int columns = 0; ///< Of a grid.
    int rows = 0;
};

QSize toSize(std::uint32_t width, std::uint32_t height)
{
    const bool fits = width <= MAX_SIDE_PX && height <= MAX_SIDE_PX;
    return fits ? QSize(static_cast<int>(width), static_cast<int>(height)) : QSize();
}

/// Whether a stream of pictures of @p stream pixels is one for a tile of @p tile pixels. Encoders
/// that know only whole coding blocks make it a little larger.
bool covers(QSize stream, QSize tile)
{
    constexpr int BLOCK_PX = 64;
    const QSize excess = stream - tile;
    return excess.width() >= 0 && excess.width() < BLOCK_PX && excess.height() >= 0 &&
           excess.height() < BLOCK_PX;
}

class SoundnessCheck
{
public:
    SoundnessCheck(FieldReader &fields, const HeifProperties &properties)
        : m_fields(fields), m_properties(properties), m_items(readHeifItems(fields, properties))
    {}

    /// The size of item @p id before its own turns, where it and all that it is made of fit
    /// together; nothing otherwise. @p depth is how many items lead here.
    std::optional<QSize> check(std::uint32_t id, int depth = 0)
    {
        const auto found = m_items.find(id);
        if (found == m_items.end() || depth > MAX_DEPTH || ++m_pieces > MAX_PIECES)
            return std::nullopt;
        const HeifItem &item = found->second;
        const std::vector<Box> properties = m_properties.of(id);
        const auto turns = std::ranges::count_if(properties, [](const Box &box) {
            return box.type == boxType("irot") || box.type == boxType("imir") ||
                   box.type == boxType("clap");
        });
        const std::optional<QSize> size = claimedSize(properties);
        if (!size || turns > MAX_TURNS || !isWithinLimits(*size))
            return std::nullopt;
        m_pixels += pixelCount(*size);
        if (m_pixels > MAX_PIECE_PIXELS || !isMadeOfWhatItSays(item, *size, properties, depth))
            return std::nullopt;
        for (const std::uint32_t auxiliary : item.auxiliary)
            if (isShownWith(auxiliary) && !check(auxiliary, depth + 1))
                return std::nullopt;
        return size;
    }

private:
    std::optional<QSize> claimedSize(const std::vector<Box> &properties)
    {
        const auto ispe = std::ranges::find(properties, boxType("ispe"), &Box::type);
        if (ispe == properties.end())
            return std::nullopt;
        BoxNumbers numbers(m_fields, ispe->begin + VERSION_BYTES, ispe->end);
        const auto width = numbers.next<quint32>();
        return toSize(width, numbers.next<quint32>());
    }

    /// Of auxiliary pictures only alpha is decoded with the picture itself.
    bool isShownWith(std::uint32_t auxiliary)
    {
        const std::vector<Box> properties = m_properties.of(auxiliary);
        const auto type = std::ranges::find(properties, boxType("auxC"), &Box::type);
        if (type == properties.end())
            return false;
        const std::int64_t begin = type->begin + VERSION_BYTES;
        const auto length = static_cast<std::size_t>(
            std::clamp<std::int64_t>(type->end - begin, 0, FieldReader::CAPACITY));
        const ByteSpan name = m_fields.bytes(begin, length);
        constexpr std::string_view OLD_NAME = "urn:mpeg:hevc:2015:auxid:1";
        constexpr std::string_view NEW_NAME = "urn:mpeg:mpegB:cicp:systems:auxiliary:alpha";
        return hasText(name, OLD_NAME) || hasText(name, NEW_NAME);
    }

    bool isMadeOfWhatItSays(const HeifItem &item, QSize size, const std::vector<Box> &properties,
                            int depth)
    {
        switch (item.type) {
        case boxType("grid"):
            return isSoundGrid(item, size, depth);
        case boxType("iovl"):
            return isSoundOverlay(item, size, depth);
        case boxType("iden"):
            return item.inputs.size() == 1 && check(item.inputs.front(), depth + 1);
        default:
            return isSoundStream(properties);
        }
    }

    /// A stream can be larger than what is said of it: it must be one that may be decoded.
    bool isSoundStream(const std::vector<Box> &properties)
    {
        const auto stream = hevcSize(properties);
        return !stream || isWithinLimits(*stream, HEIF_BYTES_PER_PIXEL);
    }

    bool isSoundGrid(const HeifItem &item, QSize size, int depth)
    {
        const Canvas canvas = readGrid(item);
        if (canvas.size != size || item.inputs.empty() ||
            item.inputs.size() !=
                static_cast<std::size_t>(canvas.columns) * static_cast<std::size_t>(canvas.rows))
            return false;
        std::optional<QSize> tile;
        for (const std::uint32_t input : item.inputs) {
            const std::optional<QSize> next = check(input, depth + 1);
            const auto stream = hevcSize(m_properties.of(input));
            if (!next || (tile && *next != *tile) || (stream && !covers(*stream, *next)))
                return false;
            tile = next;
        }
        // All of the canvas, and no tile beside it.
        const auto fill = [](int count, int tileLength, int length) {
            return std::int64_t{count} * tileLength >= length &&
                   std::int64_t{count - 1} * tileLength < length;
        };
        return fill(canvas.columns, tile->width(), size.width()) &&
               fill(canvas.rows, tile->height(), size.height());
    }

    /// What an overlay's pictures leave free has a colour of its own.
    bool isSoundOverlay(const HeifItem &item, QSize size, int depth)
    {
        return readOverlay(item) == size &&
               std::ranges::all_of(item.inputs, [&](std::uint32_t input) {
                   return check(input, depth + 1).has_value();
               });
    }

    Canvas readGrid(const HeifItem &item)
    {
        BoxNumbers numbers(m_fields, item.begin, item.end);
        (void)numbers.next<quint8>(); // version
        const bool isLong = (numbers.next<quint8>() & 1) != 0;
        const int rows = numbers.next<quint8>() + 1;
        const int columns = numbers.next<quint8>() + 1;
        const std::uint32_t width = numbers.next16or32(isLong);
        const std::uint32_t height = numbers.next16or32(isLong);
        return {numbers.isGood() ? toSize(width, height) : QSize(), columns, rows};
    }

    QSize readOverlay(const HeifItem &item)
    {
        BoxNumbers numbers(m_fields, item.begin, item.end);
        (void)numbers.next<quint8>(); // version
        const bool isLong = (numbers.next<quint8>() & 1) != 0;
        (void)numbers.next<quint64>(); // the colour of what is left free
        const std::uint32_t width = numbers.next16or32(isLong);
        const std::uint32_t height = numbers.next16or32(isLong);
        return numbers.isGood() ? toSize(width, height) : QSize();
    }

    std::optional<QSize> hevcSize(const std::vector<Box> &properties)
    {
        const auto hvcC = std::ranges::find(properties, boxType("hvcC"), &Box::type);
        return hvcC == properties.end() ? std::nullopt : readHevcSize(m_fields, *hvcC);
    }

    FieldReader &m_fields;
    const HeifProperties &m_properties;
    std::map<std::uint32_t, HeifItem> m_items;
    int m_pieces = 0;
    std::int64_t m_pixels = 0;
};

} // namespace

bool isSoundHeif(const SourceFile &file)
{
    FieldReader fields(file);
    const HeifProperties properties(fields);
    return properties.primary() &&
           SoundnessCheck(fields, properties).check(*properties.primary()).has_value();
}

} // namespace tavolin
