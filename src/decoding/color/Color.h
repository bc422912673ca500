#pragma once
// Colour management: what a picture's profile says, and the way to the colours of the monitor or to
// sRGB, in one step: what both show must not be lost to a smaller space in between. Usable from any
// thread.

#include "pixels/Image.h"

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>
#include <stop_token>

namespace tavolin {

/// The way from a picture's colours to those of a monitor, for pictures that come in pieces.
/// Copying shares it, and several threads may use one at once. A grey profile of a picture is
/// applied to each channel.
class ColorConversion
{
public:
    /// From the colours of @p picture to those of @p monitor. Empty profiles, and those that can't
    /// be used, count as sRGB; so does one for @p monitor that is not of a display with red, green
    /// and blue. Making it takes as long as some rows; the few made last are kept, so that making
    /// one of them again is next to nothing.
    explicit ColorConversion(const QByteArray &picture, const QByteArray &monitor = {});

    /// Whether there is nothing to do: both profiles say the same.
    [[nodiscard]] bool changesNothing() const;

    /// Writes to @p to, which may be @p from, the @p pixels pixels at @p from converted. Only where
    /// there is something to do.
    void convertRow(const Pixel *from, Pixel *to, int pixels, Alpha alpha) const;

private:
    struct Way;

    std::shared_ptr<const Way> m_way; // none: nothing to do
};

/// @p image in the colours of @p monitor, which becomes its profile. The same pixels where it is in
/// them already; null when memory is lacking and once @p stop is requested. What nobody else holds
/// is converted where it lies.
[[nodiscard]] Image converted(Image image, const QByteArray &monitor, std::stop_token stop = {});

/// The same for sRGB.
[[nodiscard]] Image toSrgb(Image image, std::stop_token stop = {});

/// What the profile @p monitor calls itself; empty where it counts as sRGB.
[[nodiscard]] std::optional<QString> monitorName(const QByteArray &monitor);

/// Turns four channels of ink (C, M, Y, K in the order of memory) into opaque sRGB pixels, in
/// place.
/// @p isInverted says that 255 means no ink. Without a usable CMYK profile the inks are taken as
/// ideal filters: (1 − C)(1 − K), and so on.
void convertCmykToSrgb(PixelBuffer &inks, const QByteArray &iccProfile, bool isInverted);

/// A colour without its brightness: x and y of CIE 1931.
struct Chromaticity
{
    double x = 0;
    double y = 0;
};

/// What the channels of a picture are when all, or one of them, are full.
struct Primaries
{
    Chromaticity white;
    Chromaticity red;
    Chromaticity green;
    Chromaticity blue;
};

inline constexpr Chromaticity D65{0.3127, 0.3290};
inline constexpr Primaries SRGB_PRIMARIES{D65, {0.64, 0.33}, {0.30, 0.60}, {0.15, 0.06}};

/// The profile of colours made of @p primaries, whose light is the stored value (0 to 1) to the
/// power of @p gamma, or follows sRGB's curve without one. Empty where no colours can be meant:
/// primaries that don't make their white, a gamma below 1/10 or above 10.
[[nodiscard]] QByteArray rgbProfile(const Primaries &primaries, std::optional<double> gamma);

/// Adobe RGB (1998): IEC 61966-2-5.
[[nodiscard]] const QByteArray &adobeRgbProfile();

/// sRGB: IEC 61966-2-1. Pictures in it carry no profile; this one is for files that must say it.
[[nodiscard]] const QByteArray &srgbProfile();

/// Display P3: the primaries of SMPTE EG 432-1, white point D65, the transfer curve of sRGB.
[[nodiscard]] const QByteArray &displayP3Profile();

} // namespace tavolin
