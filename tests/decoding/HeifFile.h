#pragma once
// HEIF files for tests, put together item by item around streams that libheif has made.

#include "FileBytes.h"
#include "HeicFile.h"

#include <QSize>
#include <QtEndian>

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace tavolin::test {

struct HeifReference
{
    std::string_view type;
    std::vector<std::uint32_t> to;
};

struct HeifFileItem
{
    std::string_view type;
    QByteArray content;
    std::vector<QByteArray> properties; ///< Boxes.
    std::vector<HeifReference> references;
    std::string_view contentType = {}; ///< Of type "mime".
};

/// The box that says how large an item is.
inline QByteArray ispe(QSize size)
{
    return fullBox("ispe", 0,
                   FileBytes()
                       .u32(static_cast<std::uint64_t>(size.width()))
                       .u32(static_cast<std::uint64_t>(size.height()))
                       .bytes());
}

/// A file of @p items, which have the numbers 1, 2, …; the first stands for the file. The contents
/// are in the box of boxes itself.
inline QByteArray heifFile(const std::vector<HeifFileItem> &items)
{
    FileBytes entries;
    FileBytes places;
    FileBytes properties;
    FileBytes associations;
    FileBytes references;
    QByteArray contents;
    int propertyNumber = 0;
    entries.u16(items.size());
    places.u16(0x4400).u16(items.size()); // offsets and lengths of four bytes
    associations.u32(items.size());
    for (std::size_t i = 0; i < items.size(); ++i) {
        const HeifFileItem &item = items[i];
        entries.append(fullBox(
            "infe", 2U << 24,
            FileBytes().u16(i + 1).u16(0).text(item.type).u8(0).text(item.contentType).bytes()));
        places.u16(i + 1).u16(1).u16(0).u16(1).u32(static_cast<std::uint64_t>(contents.size()));
        places.u32(static_cast<std::uint64_t>(item.content.size()));
        contents += item.content;
        associations.u16(i + 1).u8(item.properties.size());
        for (const QByteArray &property : item.properties) {
            properties.append(property);
            associations.u16(static_cast<std::uint64_t>(++propertyNumber));
        }
        for (const HeifReference &reference : item.references) {
            FileBytes box;
            box.u16(i + 1).u16(reference.to.size());
            for (const std::uint32_t to : reference.to)
                box.u16(to);
            references.append(test::box(reference.type, box.bytes()));
        }
    }
    const QByteArray handler = FileBytes().u32(0).text("pict").zeros(13).bytes();
    const QByteArray meta =
        fullBox("hdlr", 0, handler) + fullBox("pitm", 0, FileBytes().u16(1).bytes()) +
        fullBox("iinf", 0, entries.bytes()) + fullBox("iloc", 1U << 24, places.bytes()) +
        fullBox("iref", 0, references.bytes()) +
        box("iprp", box("ipco", properties.bytes()) + fullBox("ipma", 1, associations.bytes())) +
        box("idat", contents);
    return box("ftyp", FileBytes().text("heic").u32(0).text("mif1heic").bytes()) +
           fullBox("meta", 0, meta);
}

/// A picture as an item: its stream and what it needs to be decoded. The type is empty where
/// libheif can't encode.
inline HeifFileItem streamItem(const QImage &image)
{
    const QByteArray file = encodeHeic(image);
    const qsizetype hvcC = file.indexOf("hvcC") - 4;
    const qsizetype mdat = file.indexOf("mdat") + 4;
    if (hvcC < 0 || mdat < 4)
        return {};
    const auto length = qFromBigEndian<quint32>(file.constData() + hvcC);
    return {"hvc1", file.mid(mdat), {file.mid(hvcC, length), ispe(image.size())}, {}};
}

struct GridSpec
{
    int columns = 1;
    int rows = 1;
    QSize canvas;  ///< What the grid says.
    QSize claimed; ///< What the item says of it.
};

inline HeifFileItem gridItem(const GridSpec &grid, std::vector<std::uint32_t> tiles)
{
    FileBytes content;
    content.u8(0).u8(1).u8(static_cast<std::uint64_t>(grid.rows - 1));
    content.u8(static_cast<std::uint64_t>(grid.columns - 1));
    content.u32(static_cast<std::uint64_t>(grid.canvas.width()));
    content.u32(static_cast<std::uint64_t>(grid.canvas.height()));
    return {"grid", content.bytes(), {ispe(grid.claimed)}, {{"dimg", std::move(tiles)}}};
}

} // namespace tavolin::test
