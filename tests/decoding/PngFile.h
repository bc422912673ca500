#pragma once
// PNG files for tests, of samples written down one by one. No library takes part but zlib.

#include "FileBytes.h"

#include <QByteArray>
#include <QSize>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string_view>
#include <vector>

#include <zlib.h>

namespace tavolin::test {

inline const QByteArray PNG_SIGNATURE("\x89PNG\r\n\x1a\n");

/// A chunk with its checksum.
inline QByteArray checkedChunk(std::string_view type, const QByteArray &content)
{
    const QByteArray checked = FileBytes().text(type).append(content).bytes();
    const auto crc = crc32(0, reinterpret_cast<const Bytef *>(checked.constData()),
                           static_cast<uInt>(checked.size()));
    return FileBytes()
        .u32(static_cast<std::uint64_t>(content.size()))
        .append(checked)
        .u32(crc)
        .bytes();
}

/// The zlib stream of @p bytes; at level 0 they stand in it as they are.
inline QByteArray deflated(const QByteArray &bytes, int level = -1)
{
    return qCompress(bytes, level).mid(4);
}

/// What a picture is and how it is stored; numbers as in IHDR.
struct PngKind
{
    QSize size;
    int depth = 8;
    int color = 0;
    bool isInterlaced = false;
};

inline QByteArray pngHeader(const PngKind &kind)
{
    const auto number = [](int value) { return static_cast<std::uint64_t>(value); };
    return checkedChunk("IHDR", FileBytes()
                                    .u32(number(kind.size.width()))
                                    .u32(number(kind.size.height()))
                                    .u8(number(kind.depth))
                                    .u8(number(kind.color))
                                    .u8(0)
                                    .u8(0)
                                    .u8(kind.isInterlaced ? 1 : 0)
                                    .bytes());
}

/// The samples of the pixel at x, y.
using SamplesAt = std::function<std::vector<unsigned>(int, int)>;

/// Every xStep-th pixel from x on of every yStep-th row from y on.
struct PngPass
{
    int x = 0;
    int y = 0;
    int xStep = 1;
    int yStep = 1;
};

/// Unfiltered rows of one pass: none where it has no columns.
inline QByteArray passRows(const PngKind &kind, const SamplesAt &samplesAt, const PngPass &pass)
{
    QByteArray rows;
    for (int y = pass.y; y < kind.size.height() && pass.x < kind.size.width(); y += pass.yStep) {
        rows.append('\0');
        unsigned bits = 0;
        int held = 0;
        for (int x = pass.x; x < kind.size.width(); x += pass.xStep) {
            for (const unsigned sample : samplesAt(x, y)) {
                bits = bits << kind.depth | sample;
                for (held += kind.depth; held >= 8; held -= 8)
                    rows.append(static_cast<char>(bits >> (held - 8) & 0xff));
            }
        }
        if (held > 0)
            rows.append(static_cast<char>(bits << (8 - held) & 0xff));
    }
    return rows;
}

/// All rows of a picture, of an interlaced one pass by pass.
inline QByteArray pngRows(const PngKind &kind, const SamplesAt &samplesAt)
{
    if (!kind.isInterlaced)
        return passRows(kind, samplesAt, {});
    QByteArray rows;
    for (const PngPass &pass :
         {PngPass{0, 0, 8, 8}, PngPass{4, 0, 8, 8}, PngPass{0, 4, 4, 8}, PngPass{2, 0, 4, 4},
          PngPass{0, 2, 2, 4}, PngPass{1, 0, 2, 2}, PngPass{0, 1, 1, 2}})
        rows += passRows(kind, samplesAt, pass);
    return rows;
}

/// A file of @p rows, with @p chunks between the header and the pixels.
inline QByteArray pngOfRows(const PngKind &kind, const QByteArray &rows,
                            const QByteArray &chunks = {}, int level = -1)
{
    return PNG_SIGNATURE + pngHeader(kind) + chunks + checkedChunk("IDAT", deflated(rows, level)) +
           checkedChunk("IEND", {});
}

inline QByteArray pngFile(const PngKind &kind, const SamplesAt &samplesAt,
                          const QByteArray &chunks = {})
{
    return pngOfRows(kind, pngRows(kind, samplesAt), chunks);
}

/// A chunk with @p profile.
inline QByteArray iccp(const QByteArray &profile)
{
    return checkedChunk("iCCP", QByteArray("name\0\0", 6) + deflated(profile));
}

/// A PLTE chunk of 200, 100, 50; red; blue; and 1, 2, 3.
inline QByteArray palette()
{
    const auto bytes = FileBytes().u8(200).u8(100).u8(50).u8(255).u8(0).u8(0);
    return checkedChunk("PLTE", FileBytes(bytes).u8(0).u8(0).u8(255).u8(1).u8(2).u8(3).bytes());
}

/// A tRNS chunk of 16-bit numbers.
inline QByteArray transparent(std::initializer_list<unsigned> samples)
{
    FileBytes bytes;
    for (const unsigned sample : samples)
        bytes.u16(sample);
    return checkedChunk("tRNS", bytes.bytes());
}

} // namespace tavolin::test
