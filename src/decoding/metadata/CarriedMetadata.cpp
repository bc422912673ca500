#include "decoding/metadata/CarriedMetadata.h"

#include "decoding/color/Color.h"
#include "decoding/headers/Headers.h"
#include "decoding/metadata/Exiv2Access.h"
#include "decoding/metadata/Exiv2Seam.h"
#include "decoding/metadata/Metadata.h"
#include "decoding/metadata/MetadataFile.h"
#include "decoding/metadata/Photoshop.h"
#include "decoding/metadata/StoredMetadata.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <iterator>
#include <map>
#include <numeric>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace tavolin {

namespace {

constexpr const char *SOFTWARE = "Tavolin Viewer";

/// Beginnings of keys that are not carried over.
constexpr std::array<std::string_view, 70> LEFT_BEHIND{
    // Directories of other pictures in the file: IFD1, which is the thumbnail, and further ones,
    // those below IFD0, and the list of pictures behind the first of a JPEG.
    "Exif.Thumbnail.",
    "Exif.Image2.",
    "Exif.Image3.",
    "Exif.SubImage",
    "Exif.SubThumb",
    "Exif.MpfInfo.",
    // How Panasonic's raw data lie in the file; what the camera says of the photo stands elsewhere.
    "Exif.PanasonicRaw.",
    // How the stored pixels of a TIFF or raw file lie in it and what they are made of. A JPEG says
    // so outside of its metadata.
    "Exif.Image.NewSubfileType",
    "Exif.Image.SubfileType",
    "Exif.Image.ImageWidth",
    "Exif.Image.ImageLength",
    "Exif.Image.BitsPerSample",
    "Exif.Image.Compression",
    "Exif.Image.PhotometricInterpretation",
    "Exif.Image.Thresholding",
    "Exif.Image.CellWidth",
    "Exif.Image.CellLength",
    "Exif.Image.FillOrder",
    "Exif.Image.StripOffsets",
    "Exif.Image.SamplesPerPixel",
    "Exif.Image.RowsPerStrip",
    "Exif.Image.StripByteCounts",
    "Exif.Image.PlanarConfiguration",
    "Exif.Image.GrayResponse",
    "Exif.Image.T4Options",
    "Exif.Image.T6Options",
    "Exif.Image.Predictor",
    "Exif.Image.ColorMap",
    "Exif.Image.HalftoneHints",
    "Exif.Image.Tile",
    "Exif.Image.SubIFDs",
    "Exif.Image.InkSet",
    "Exif.Image.InkNames",
    "Exif.Image.NumberOfInks",
    "Exif.Image.DotRange",
    "Exif.Image.ExtraSamples",
    "Exif.Image.SampleFormat",
    "Exif.Image.SMinSampleValue",
    "Exif.Image.SMaxSampleValue",
    "Exif.Image.Indexed",
    "Exif.Image.JPEG",
    "Exif.Image.YCbCrSubSampling",
    "Exif.Image.CFARepeatPatternDim",
    "Exif.Image.CFAPattern",
    // The same metadata once more, in a TIFF's way: they get segments of their own.
    "Exif.Image.XMLPacket",
    "Exif.Image.IPTCNAA",
    "Exif.Image.ImageResources",
    "Exif.Image.InterColorProfile",
    // The old pixels in XMP.
    "Xmp.tiff.BitsPerSample",
    "Xmp.tiff.Compression",
    "Xmp.tiff.PhotometricInterpretation",
    "Xmp.tiff.SamplesPerPixel",
    "Xmp.tiff.PlanarConfiguration",
    "Xmp.tiff.YCbCrSubSampling",
    // Where more XMP is: it is all in one packet then.
    "Xmp.xmpNote.HasExtendedXMP",
    // Small pictures in XMP and IPTC.
    "Xmp.xmp.Thumbnails",
    "Xmp.xmpGImg.",
    "Iptc.Application2.Preview",
    // Gain maps, depth maps and films behind the picture, which are not written.
    "Xmp.hdrgm.",
    "Xmp.HDRGainMap.",
    "Xmp.Container.",
    "Xmp.GContainer.",
    "Xmp.Item.",
    "Xmp.GDepth.",
    "Xmp.GImage.",
    "Xmp.GAudio.",
    "Xmp.GCamera.MicroVideo",
    "Xmp.GCamera.MotionPhoto",
    "Xmp.GCamera.HdrPlusMakernoteOffset",
    "Xmp.apdi.",
};

/// Removes the values for which @p isUnwanted, from Exiv2's containers of any kind.
template <typename Predicate>
void eraseIf(Exiv2::ExifData &exif, Predicate isUnwanted)
{
    for (auto datum = exif.begin(); datum != exif.end();)
        datum = isUnwanted(*datum) ? exif.erase(datum) : std::next(datum);
}

/// The others move all that follows for each value that is taken out, so what stays is gathered.
template <typename Data, typename Predicate>
void eraseIf(Data &data, Predicate isUnwanted)
{
    Data kept;
    for (const auto &datum : data)
        if (!isUnwanted(datum))
            kept.add(datum);
    data = std::move(kept);
}

template <typename Data>
void leaveBehind(Data &data)
{
    eraseIf(data, [](const auto &datum) { return !isCarried(datum.key()); });
}

/// Makes @p value the only value of @p key.
template <typename Value>
void set(Exiv2::ExifData &exif, const std::string &key, const Value &value)
{
    eraseIf(exif, [&key](const Exiv2::Exifdatum &datum) { return datum.key() == key; });
    exif[key] = value;
}

/// Whether @p exif has a value in @p group that is more than the place of another group.
bool hasGroup(const Exiv2::ExifData &exif, const std::string &group)
{
    return std::any_of(exif.begin(), exif.end(), [&group](const Exiv2::Exifdatum &datum) {
        return datum.groupName() == group && datum.tagName() != "ExifTag" &&
               datum.tagName() != "GPSTag" && datum.tagName() != "InteroperabilityTag";
    });
}

/// Gives @p exif the density of pixels that @p stored says, unless it has its own.
void addDensity(Exiv2::ExifData &exif, const std::optional<PixelDensity> &stored)
{
    if (!stored || stored->unit == PixelDensity::NONE ||
        exif.findKey(Exiv2::ExifKey("Exif.Image.XResolution")) != exif.end())
        return;
    exif["Exif.Image.XResolution"] = Exiv2::URational(stored->x, 1);
    exif["Exif.Image.YResolution"] = Exiv2::URational(stored->y, 1);
    // 2 for inches, 3 for centimetres (EXIF 2.32, 4.6.4).
    const bool isPerInch = stored->unit == PixelDensity::PER_INCH;
    exif["Exif.Image.ResolutionUnit"] = static_cast<std::uint16_t>(isPerInch ? 2 : 3);
}

Exiv2::ExifData carriedExif(const Exiv2::ExifData &source, QSize newSize,
                            const std::optional<PixelDensity> &density)
{
    Exiv2::ExifData exif = source;
    leaveBehind(exif);
    if (hasGroup(exif, "Image")) {
        set(exif, "Exif.Image.Orientation", std::uint16_t{1});
        set(exif, "Exif.Image.Software", std::string(SOFTWARE));
        addDensity(exif, density);
    }
    if (hasGroup(exif, "Photo")) {
        set(exif, "Exif.Photo.PixelXDimension", static_cast<std::uint32_t>(newSize.width()));
        set(exif, "Exif.Photo.PixelYDimension", static_cast<std::uint32_t>(newSize.height()));
    }
    return exif;
}

Exiv2::XmpData carriedXmp(const Exiv2::XmpData &source, QSize newSize)
{
    Exiv2::XmpData xmp = source;
    leaveBehind(xmp);
    const auto correct = [&xmp](const char *key, const std::string &value) {
        const auto found = xmp.findKey(Exiv2::XmpKey(key));
        if (found != xmp.end())
            found->setValue(value);
    };
    correct("Xmp.tiff.Orientation", "1");
    correct("Xmp.tiff.Software", SOFTWARE);
    for (const char *key : {"Xmp.tiff.ImageWidth", "Xmp.exif.PixelXDimension"})
        correct(key, std::to_string(newSize.width()));
    for (const char *key : {"Xmp.tiff.ImageLength", "Xmp.exif.PixelYDimension"})
        correct(key, std::to_string(newSize.height()));
    return xmp;
}

/// Removes the largest values of @p data, so many that a block of @p size bytes, made of them all,
/// can be expected to shrink to @p limit.
template <typename Data>
void removeLargest(Data &data, double size, double limit)
{
    std::vector<std::int64_t> sizes;
    for (const auto &datum : data)
        sizes.push_back(static_cast<std::int64_t>(datum.size()));
    std::ranges::sort(sizes, std::greater());
    // Values may take more room in the block than on their own: all of them so much more.
    const double total = std::accumulate(sizes.begin(), sizes.end(), 0.0);
    double excess = total * (size - limit) / size;
    std::int64_t smallest = sizes.front();
    for (auto next = sizes.begin(); next != sizes.end() && excess > 0; ++next) {
        smallest = *next;
        excess -= static_cast<double>(*next);
    }
    eraseIf(data, [smallest](const auto &datum) {
        return static_cast<std::int64_t>(datum.size()) >= smallest;
    });
}

/// What @p encode makes of @p data, at most @p limit bytes; values that don't fit are removed.
/// Nothing when Exiv2 refuses them: the other blocks may be good.
template <typename Data, typename Encode>
QByteArray encodedWithin(Data data, qsizetype limit, Encode encode)
try {
    QByteArray block = encode(data);
    while (block.size() > limit && !data.empty()) {
        removeLargest(data, static_cast<double>(block.size()), static_cast<double>(limit));
        block = encode(data);
    }
    return block;
} catch (const exiv2::Error &) {
    return {};
}

QByteArray bytes(const void *data, std::size_t size)
{
    return {static_cast<const char *>(data), static_cast<qsizetype>(size)};
}

bool saysAdobeRgb(const Exiv2::ExifData &exif)
{
    const auto colorSpace = exif.findKey(Exiv2::ExifKey("Exif.Photo.ColorSpace"));
    const auto index = exif.findKey(Exiv2::ExifKey("Exif.Iop.InteroperabilityIndex"));
    // Exiv2 makes numbers of other types too, by divisions that can end the program.
    const bool hasColorSpace = colorSpace != exif.end() && colorSpace->count() > 0 &&
                               (colorSpace->typeId() == Exiv2::unsignedShort ||
                                colorSpace->typeId() == Exiv2::unsignedLong);
    return tavolin::saysAdobeRgb(hasColorSpace
                                     ? std::optional<std::uint64_t>(exiv2::wholeNumber(*colorSpace))
                                     : std::nullopt,
                                 index != exif.end() ? index->toString() : std::string());
}

/// The bytes of the value with @p key as they are in a TIFF stream of this byte @p order; none
/// where there is no such value.
QByteArray storedBytes(const Exiv2::ExifData &exif, const char *key, Exiv2::ByteOrder order)
{
    const auto found = exif.findKey(Exiv2::ExifKey(key));
    if (found == exif.end() || found->size() == 0)
        return {};
    QByteArray stored(static_cast<qsizetype>(found->size()), '\0');
    found->copy(reinterpret_cast<Exiv2::byte *>(stored.data()), order);
    return stored;
}

/// The Photoshop resources of @p image, among them its IPTC data: as they are stored, where
/// @p stored or a TIFF stream has them and we can read them. Exiv2 writes some of IPTC's values in
/// its own way.
QByteArray resourcesOf(const Exiv2::Image &image, const StoredMetadata &stored)
{
    QByteArray resources = stored.resources;
    if (resources.isEmpty())
        resources = storedBytes(image.exifData(), "Exif.Image.ImageResources", image.byteOrder());
    if (hasIptc(resources))
        return resources;
    const QByteArray inTiff =
        iptcResource(storedBytes(image.exifData(), "Exif.Image.IPTCNAA", image.byteOrder()));
    if (hasIptc(inTiff))
        return inTiff + resources;
    if (image.iptcData().empty())
        return resources;
    const Exiv2::DataBuf iptc = Exiv2::IptcParser::encode(image.iptcData());
    return iptcResource(bytes(exiv2::bytesOf(iptc), exiv2::sizeOf(iptc))) + resources;
}

/// Adds the values of @p other with keys that @p data has none of.
template <typename Data>
void addMissing(Data &data, const Data &other)
{
    std::set<std::string> keys;
    for (const auto &datum : data)
        keys.insert(datum.key());
    for (const auto &datum : other)
        if (!keys.contains(datum.key()))
            data.add(datum);
}

/// The XMP of @p image, with that of the further packet that it names, if @p packets have it.
Exiv2::XmpData wholeXmp(const Exiv2::Image &image, const std::map<QByteArray, QByteArray> &packets)
try {
    Exiv2::XmpData whole = image.xmpData();
    const auto name = whole.findKey(Exiv2::XmpKey("Xmp.xmpNote.HasExtendedXMP"));
    if (name == whole.end())
        return whole;
    const auto packet = packets.find(QByteArray::fromStdString(name->toString()));
    Exiv2::XmpData more;
    if (packet != packets.end() && isTameXmp(packet->second) &&
        Exiv2::XmpParser::decode(more, packet->second.toStdString()) == 0)
        addMissing(whole, more);
    return whole;
} catch (const exiv2::Error &) { // at the further packet
    return image.xmpData();
}

JpegMetadata encoded(const Exiv2::Image &image, const StoredMetadata &stored, QSize newSize)
{
    const Exiv2::ByteOrder order =
        image.byteOrder() == Exiv2::bigEndian ? Exiv2::bigEndian : Exiv2::littleEndian;
    const auto encodeExif = [order](Exiv2::ExifData data) { // which 0.28 changes
        Exiv2::Blob blob;
        if (!data.empty())
            Exiv2::ExifParser::encode(blob, order, data);
        return bytes(blob.data(), blob.size());
    };
    const auto encodeXmp = [](const Exiv2::XmpData &data) {
        std::string packet;
        if (!data.empty() && Exiv2::XmpParser::encode(packet, data) != 0)
            packet.clear();
        return bytes(packet.data(), packet.size());
    };
    const Exiv2::ExifData exif = carriedExif(image.exifData(), newSize, stored.density);
    std::vector<QByteArray> comments = stored.comments;
    if (comments.size() > JpegMetadata::MAX_COMMENTS)
        comments.resize(JpegMetadata::MAX_COMMENTS);
    return {.exif = encodedWithin(exif, JpegMetadata::MAX_EXIF_BYTES, encodeExif),
            .xmp = encodedWithin(carriedXmp(wholeXmp(image, stored.extendedXmp), newSize),
                                 JpegMetadata::MAX_XMP_BYTES, encodeXmp),
            .photoshop =
                carriedResources(resourcesOf(image, stored), JpegMetadata::MAX_PHOTOSHOP_BYTES),
            .defaultProfile = saysAdobeRgb(exif) ? srgbProfile() : QByteArray(),
            .comments = std::move(comments),
            .density = stored.density.value_or(PixelDensity())};
}

} // namespace

bool isCarried(std::string_view key)
{
    const auto begins = [key](std::string_view beginning) { return key.starts_with(beginning); };
    // In the camera's notes, pictures and what is said of them are called so.
    const bool isSmallPicture =
        key.starts_with("Exif.") && (key.find("Preview") != std::string_view::npos ||
                                     key.find("Thumbnail") != std::string_view::npos);
    return !isSmallPicture && std::ranges::none_of(LEFT_BEHIND, begins);
}

bool isSavedByViewer(const SniffedFile &file)
{
    bool isOurs = false;
    if (file.type == FileType::Jpeg)
        withMetadata(file.source, [&isOurs](const Exiv2::Image &image) {
            const auto software = image.exifData().findKey(Exiv2::ExifKey("Exif.Image.Software"));
            isOurs = software != image.exifData().end() && software->toString() == SOFTWARE;
        });
    return isOurs;
}

std::optional<JpegMetadata> carriedMetadata(const SniffedFile &file, QSize newSize)
{
    // Of these raw files the JPEG is the picture that is seen, and says more than what is around
    // it.
    Exiv2::ExifData inJpeg;
    if (const auto jpeg = embeddedJpeg(file))
        withMetadata(*jpeg, [&inJpeg](const Exiv2::Image &image) { inJpeg = image.exifData(); });
    const StoredMetadata stored = readStoredMetadata(file);
    std::optional<JpegMetadata> result;
    const auto carry = [&](Exiv2::Image &image) {
        addMissing(image.exifData(), inJpeg);
        result = encoded(image, stored, newSize);
    };
    withMetadata(metadataFile(file), carry);
    return result;
}

} // namespace tavolin
