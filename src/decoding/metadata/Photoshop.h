#pragma once
// Photoshop's resources: small blocks with numbers, among them the IPTC data of a picture (Adobe
// Photoshop File Formats, "Image Resources"). Usable from any thread.

#include <QByteArray>

namespace tavolin {

/// @p resources, one behind the other, for an edited copy: each byte for byte. Without those that
/// repeat what the copy says elsewhere (EXIF, XMP, the profile), show the picture before its edit
/// (thumbnails, and IPTC's preview) or name places in it (paths, slices, guides, layers, alpha
/// channels, samplers). Of more than @p limit bytes the largest are left out, the IPTC data last;
/// those lose their largest data sets then.
[[nodiscard]] QByteArray carriedResources(const QByteArray &resources, qsizetype limit);

/// Whether @p resources have IPTC data, one data set at least.
[[nodiscard]] bool hasIptc(const QByteArray &resources);

/// The resource that holds the IPTC data @p iptc.
[[nodiscard]] QByteArray iptcResource(const QByteArray &iptc);

} // namespace tavolin
