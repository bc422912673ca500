#include "decoding/metadata/Photoshop.h"

#include <QtEndian>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <string_view>
#include <utility>
#include <vector>

namespace tavolin {

namespace {

constexpr quint16 IPTC = 1028;

/// First and last numbers of resources that are left behind.
constexpr std::array<std::pair<quint16, quint16>, 18> LEFT_BEHIND{{
    {1006, 1007}, // alpha channels: names, how they are shown
    {1022, 1022}, // the quick mask
    {1024, 1024}, // the layer that is worked on
    {1026, 1026}, // layers' groups
    {1032, 1033}, // guides; a thumbnail
    {1036, 1036}, // a thumbnail
    {1038, 1039}, // colour samplers; the profile
    {1045, 1047}, // alpha channels; colour table
    {1050, 1050}, // slices
    {1053, 1053}, // alpha channels
    {1058, 1060}, // EXIF, twice; XMP
    {1065, 1065}, // layers
    {1069, 1069}, // layers
    {1072, 1073}, // layers; colour samplers
    {1075, 1078}, // frames and layers; how channels are shown
    {1080, 1080}, // what has been counted, and where
    {1088, 1088}, // the path that is worked on
    {2000, 3000}, // paths
}};

struct Resource
{
    quint16 number;
    QByteArray bytes; // all of it
    qsizetype contentBegin;
    qsizetype contentBytes;

    [[nodiscard]] QByteArray content() const { return bytes.mid(contentBegin, contentBytes); }
};

qsizetype even(qsizetype bytes)
{
    return bytes + bytes % 2;
}

/// Those at the beginning of @p bytes that are whole.
std::vector<Resource> resourcesIn(const QByteArray &bytes)
{
    constexpr std::array<std::string_view, 5> SIGNATURES{"8BIM", "AgHg", "DCSR", "MeSa", "PHUT"};
    constexpr qsizetype NAME_AT = 6; // behind signature and number
    std::vector<Resource> resources;
    for (qsizetype at = 0; bytes.size() - at > NAME_AT;) {
        const char *resource = bytes.constData() + at;
        if (std::ranges::find(SIGNATURES, std::string_view(resource, 4)) == SIGNATURES.end())
            break;
        // The name has a byte for its length.
        const qsizetype sizeAt = NAME_AT + even(1 + static_cast<unsigned char>(resource[NAME_AT]));
        if (bytes.size() - at < sizeAt + 4)
            break;
        const qsizetype size = qFromBigEndian<quint32>(resource + sizeAt);
        const qsizetype end = sizeAt + 4 + size;
        if (bytes.size() - at < end)
            break;
        // What makes it even may be missing in the end.
        resources.push_back({qFromBigEndian<quint16>(resource + 4),
                             bytes.mid(at, end).leftJustified(even(end), '\0'), sizeAt + 4, size});
        at += even(end);
    }
    return resources;
}

bool isLeftBehind(const Resource &resource)
{
    return std::ranges::any_of(LEFT_BEHIND, [&resource](const auto &range) {
        return resource.number >= range.first && resource.number <= range.second;
    });
}

/// The data sets of @p iptc (IPTC-NAA Information Interchange Model 4.2, 1.5), and behind them what
/// is none: usually nothing, or zeros. Some programs leave other bytes between them, which are left
/// out.
std::vector<QByteArray> dataSetsIn(const QByteArray &iptc)
{
    constexpr char MARK = 0x1c;
    constexpr qsizetype HEAD_BYTES = 5; // mark, record, number and length
    constexpr quint16 IS_LONG = 0x8000;
    std::vector<QByteArray> sets;
    qsizetype at = 0;
    while (true) {
        const qsizetype next = iptc.indexOf(MARK, at);
        if (next < 0 || iptc.size() - next < HEAD_BYTES)
            break;
        at = next;
        qsizetype begin = at + HEAD_BYTES;
        qsizetype length = qFromBigEndian<quint16>(iptc.constData() + at + 3);
        if ((length & IS_LONG) != 0) { // so many bytes have the length
            const qsizetype lengthBytes = length - IS_LONG;
            if (lengthBytes > 4 || iptc.size() - begin < lengthBytes)
                break;
            length = 0;
            for (const char byte : iptc.mid(begin, lengthBytes))
                length = 256 * length + static_cast<unsigned char>(byte);
            begin += lengthBytes;
        }
        if (iptc.size() - begin < length)
            break;
        sets.push_back(iptc.mid(at, begin + length - at));
        at = begin + length;
    }
    sets.push_back(iptc.mid(at));
    return sets;
}

/// Whether @p set is part of a preview: its format, its version or itself.
bool isPreview(const QByteArray &set)
{
    return set.size() >= 3 && set[0] == 0x1c && set[1] == 2 &&
           static_cast<unsigned char>(set[2]) >= 200 && static_cast<unsigned char>(set[2]) <= 202;
}

/// @p pieces as one, without the largest where they are more than @p limit bytes.
QByteArray joinedWithin(std::vector<QByteArray> pieces, qsizetype limit)
{
    qsizetype excess = -limit;
    std::vector<QByteArray *> largest;
    for (QByteArray &piece : pieces) {
        excess += piece.size();
        largest.push_back(&piece);
    }
    std::ranges::stable_sort(largest, std::greater(), &QByteArray::size);
    for (auto next = largest.begin(); next != largest.end() && excess > 0; ++next) {
        excess -= (*next)->size();
        (*next)->clear();
    }
    QByteArray joined;
    for (const QByteArray &piece : pieces)
        joined += piece;
    return joined;
}

/// @p resource, which holds IPTC data, without a preview and within @p limit bytes.
QByteArray carriedIptc(const Resource &resource, qsizetype limit)
{
    std::vector<QByteArray> sets = dataSetsIn(resource.content());
    // A preview could be in what can't be read.
    const bool isZero = std::ranges::all_of(sets.back(), [](char byte) { return byte == 0; });
    if (!isZero)
        sets.pop_back();
    std::erase_if(sets, isPreview);
    constexpr qsizetype AROUND_BYTES = 12 + 1; // of iptcResource()
    const QByteArray iptc =
        joinedWithin(std::move(sets), std::max<qsizetype>(0, limit - AROUND_BYTES));
    if (iptc == resource.content() && resource.bytes.size() <= limit)
        return resource.bytes;
    return iptc.isEmpty() ? QByteArray() : iptcResource(iptc);
}

} // namespace

QByteArray carriedResources(const QByteArray &resources, qsizetype limit)
{
    QByteArray iptc;
    std::vector<QByteArray> others;
    for (const Resource &resource : resourcesIn(resources)) {
        if (resource.number == IPTC)
            iptc += carriedIptc(resource, limit - iptc.size());
        else if (!isLeftBehind(resource))
            others.push_back(resource.bytes);
    }
    return iptc + joinedWithin(std::move(others), limit - iptc.size());
}

bool hasIptc(const QByteArray &resources)
{
    return std::ranges::any_of(resourcesIn(resources), [](const Resource &resource) {
        return resource.number == IPTC && dataSetsIn(resource.content()).size() > 1;
    });
}

QByteArray iptcResource(const QByteArray &iptc)
{
    QByteArray resource("8BIM\4\4\0\0", 8); // number, no name
    QByteArray size(4, '\0');
    qToBigEndian(static_cast<quint32>(iptc.size()), size.data());
    resource += size + iptc;
    if (resource.size() % 2 != 0)
        resource += '\0';
    return resource;
}

} // namespace tavolin
