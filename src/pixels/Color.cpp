#include "pixels/Color.h"

#include "pixels/Bands.h"
#include "pixels/ProfileCheck.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <numeric>
#include <type_traits>
#include <utility>
#include <vector>

#include <lcms2.h>

namespace tavolin {

namespace {

constexpr int LEAST_BAND_ROWS = 32;
constexpr bool IS_LITTLE = std::endian::native == std::endian::little;
constexpr cmsUInt32Number SCREEN = IS_LITTLE ? TYPE_BGRA_8 : TYPE_ARGB_8;

struct CloseProfile
{
    void operator()(void *profile) const { cmsCloseProfile(profile); }
};
struct DeleteTransform
{
    void operator()(void *transform) const { cmsDeleteTransform(transform); }
};
struct FreeCurve
{
    void operator()(cmsToneCurve *curve) const { cmsFreeToneCurve(curve); }
};
using Profile = std::unique_ptr<void, CloseProfile>;
using Transform = std::unique_ptr<void, DeleteTransform>;
using Curve = std::unique_ptr<cmsToneCurve, FreeCurve>;

Profile openProfile(const QByteArray &icc)
{
    if (!isSoundProfile(icc))
        return nullptr;
    return Profile(
        cmsOpenProfileFromMem(icc.constData(), static_cast<cmsUInt32Number>(icc.size())));
}

/// A transform to sRGB that several threads may use at once.
Transform makeTransform(const Profile &from, cmsUInt32Number format)
{
    const Profile srgb(cmsCreate_sRGBProfile());
    if (!from || !srgb)
        return nullptr;
    return Transform(cmsCreateTransform(from.get(), format, srgb.get(), SCREEN, INTENT_PERCEPTUAL,
                                        cmsFLAGS_NOCACHE | cmsFLAGS_COPY_ALPHA));
}

/// What a picture's profile asks for.
struct Conversion
{
    Transform transform;                  // of SCREEN pixels; none: nothing to do
    std::array<std::uint8_t, 256> grey{}; // for a grey profile: each level in sRGB
    bool isGrey = false;
};

/// Whether a grid of colours comes out of @p transform as it went in, within one level.
bool changesNothing(const Transform &transform)
{
    std::vector<Pixel> colors;
    constexpr unsigned STEP = 51; // 0, 51, … 255
    for (unsigned red = 0; red <= 255; red += STEP)
        for (unsigned green = 0; green <= 255; green += STEP)
            for (unsigned blue = 0; blue <= 255; blue += STEP)
                colors.push_back(0xff000000 | red << 16 | green << 8 | blue);
    std::vector<Pixel> converted = colors;
    cmsDoTransform(transform.get(), colors.data(), converted.data(),
                   static_cast<cmsUInt32Number>(colors.size()));
    const auto isNear = [](Pixel a, Pixel b) {
        for (int shift = 0; shift < 24; shift += 8)
            if (std::abs(static_cast<int>(a >> shift & 0xff) -
                         static_cast<int>(b >> shift & 0xff)) > 1)
                return false;
        return true;
    };
    return std::equal(colors.begin(), colors.end(), converted.begin(), isNear);
}

Conversion makeConversion(const QByteArray &icc)
{
    Conversion result;
    const Profile profile = openProfile(icc);
    if (!profile)
        return result;
    switch (cmsGetColorSpace(profile.get())) {
    case cmsSigRgbData:
        result.transform = makeTransform(profile, SCREEN);
        if (!result.transform || changesNothing(result.transform))
            result.transform = nullptr;
        break;
    case cmsSigGrayData:
        if (const Transform levels = makeTransform(profile, TYPE_GRAY_8)) {
            std::array<std::uint8_t, 256> ramp{};
            std::iota(ramp.begin(), ramp.end(), std::uint8_t{0});
            std::array<Pixel, 256> shown{};
            cmsDoTransform(levels.get(), ramp.data(), shown.data(), 256);
            std::transform(shown.begin(), shown.end(), result.grey.begin(),
                           [](Pixel pixel) { return static_cast<std::uint8_t>(pixel >> 8); });
            result.isGrey = true;
        }
        break;
    default:
        break;
    }
    return result;
}

/// The conversion of @p icc. A folder's pictures mostly share one profile, so the last one is kept.
std::shared_ptr<const Conversion> conversionFor(const QByteArray &icc)
{
    static std::mutex mutex;
    static std::pair<QByteArray, std::shared_ptr<const Conversion>> last;
    {
        const std::lock_guard guard(mutex);
        if (last.second && last.first == icc)
            return last.second;
    }
    auto made = std::make_shared<const Conversion>(makeConversion(icc));
    const std::lock_guard guard(mutex);
    last = {icc, made};
    return made;
}

QByteArray makeRgbProfile(const cmsCIExyYTRIPLE &primaries, const Curve &curve)
{
    constexpr cmsCIExyY D65{0.3127, 0.3290, 1.0};
    cmsToneCurve *const curves[] = {curve.get(), curve.get(), curve.get()};
    const Profile profile(cmsCreateRGBProfile(&D65, &primaries, curves));
    cmsUInt32Number bytes = 0;
    if (!profile || !cmsSaveProfileToMem(profile.get(), nullptr, &bytes))
        return {};
    QByteArray icc(static_cast<qsizetype>(bytes), '\0');
    cmsSaveProfileToMem(profile.get(), icc.data(), &bytes);
    return icc;
}

/// ICC.1:2022, parametric curve type 3, with the constants of IEC 61966-2-1.
Curve srgbCurve()
{
    const std::array<cmsFloat64Number, 5> constants{2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92,
                                                    0.04045};
    return Curve(cmsBuildParametricToneCurve(nullptr, 4, constants.data()));
}

/// One ideal ink-and-paper pixel; @p no* are the parts of the paper left free, 0 to 255.
Pixel idealInks(unsigned noCyan, unsigned noMagenta, unsigned noYellow, unsigned noBlack)
{
    const auto product = [noBlack](unsigned free) { return (free * noBlack + 127) / 255; };
    return 0xff000000 | product(noCyan) << 16 | product(noMagenta) << 8 | product(noYellow);
}

/// @p color, one channel of three, of a pixel with @p alpha, freed from it or multiplied by it.
Pixel unmultiplied(Pixel color, Pixel alpha)
{
    return alpha == 0 ? 0 : std::min(255U, (color * 255 + alpha / 2) / alpha);
}
Pixel multiplied(Pixel color, Pixel alpha)
{
    return (color * alpha + 127) / 255;
}

/// @p pixel with @p change applied to its colours.
template <typename Change>
Pixel withColors(Pixel pixel, Change change)
{
    const Pixel alpha = pixel >> 24;
    Pixel result = alpha << 24;
    for (int shift = 0; shift < 24; shift += 8)
        result |= change(pixel >> shift & 0xff, alpha) << shift;
    return result;
}

/// @p conversion of a row. A profile speaks of colours that are not multiplied by alpha.
void convertRow(const Conversion &conversion, Alpha alpha, const Pixel *from, Pixel *to, int pixels)
{
    const bool isOpaque = alpha == Alpha::Opaque;
    if (!isOpaque) {
        std::transform(from, from + pixels, to,
                       [](Pixel pixel) { return withColors(pixel, unmultiplied); });
        from = to;
    }
    if (conversion.isGrey)
        std::transform(from, from + pixels, to, [&grey = conversion.grey](Pixel pixel) {
            return withColors(pixel, [&grey](Pixel level, Pixel) { return Pixel{grey[level]}; });
        });
    else
        cmsDoTransform(conversion.transform.get(), from, to, static_cast<cmsUInt32Number>(pixels));
    if (!isOpaque)
        std::transform(to, to + pixels, to,
                       [](Pixel pixel) { return withColors(pixel, multiplied); });
}

} // namespace

Image toSrgb(const Image &image, std::stop_token stop)
{
    if (image.isNull() || image.iccProfile().isEmpty())
        return image;
    const auto conversion = conversionFor(image.iccProfile());
    if (!conversion->transform && !conversion->isGrey)
        return image.withProfile({});
    PixelBuffer result(image.size());
    if (result.isNull())
        return image;
    forBands(image.height(), LEAST_BAND_ROWS, [&](int begin, int end) {
        for (int y = begin; y < end && !stop.stop_requested(); ++y)
            convertRow(*conversion, image.alpha(), image.row(y), result.row(y), image.width());
    });
    if (stop.stop_requested())
        return {};
    return std::move(result).toImage(image.alpha());
}

void convertCmykToSrgb(PixelBuffer &inks, const QByteArray &iccProfile, bool isInverted)
{
    const Profile profile = openProfile(iccProfile);
    const bool isUsable = profile && cmsGetColorSpace(profile.get()) == cmsSigCmykData;
    const Transform transform =
        isUsable ? makeTransform(profile, isInverted ? TYPE_CMYK_8_REV : TYPE_CMYK_8) : nullptr;
    const int width = inks.size().width();
    const Pixel inversion = isInverted ? 0 : 0xffffffff;
    forBands(inks.size().height(), LEAST_BAND_ROWS, [&](int begin, int end) {
        for (int y = begin; y < end; ++y) {
            Pixel *row = inks.row(y);
            if (transform) {
                cmsDoTransform(transform.get(), row, row, static_cast<cmsUInt32Number>(width));
                for (Pixel *pixel = row; pixel != row + width; ++pixel)
                    *pixel |= 0xff000000;
                continue;
            }
            for (Pixel *pixel = row; pixel != row + width; ++pixel) {
                const auto free = std::bit_cast<std::array<std::uint8_t, 4>>(*pixel ^ inversion);
                *pixel = idealInks(free[0], free[1], free[2], free[3]);
            }
        }
    });
}

const QByteArray &adobeRgbProfile()
{
    static const QByteArray profile =
        makeRgbProfile({{0.64, 0.33, 1.0}, {0.21, 0.71, 1.0}, {0.15, 0.06, 1.0}},
                       Curve(cmsBuildGamma(nullptr, 563.0 / 256.0)));
    return profile;
}

const QByteArray &srgbProfile()
{
    static const QByteArray profile =
        makeRgbProfile({{0.64, 0.33, 1.0}, {0.30, 0.60, 1.0}, {0.15, 0.06, 1.0}}, srgbCurve());
    return profile;
}

const QByteArray &displayP3Profile()
{
    static const QByteArray profile = makeRgbProfile(
        {{0.680, 0.320, 1.0}, {0.265, 0.690, 1.0}, {0.150, 0.060, 1.0}}, srgbCurve());
    return profile;
}

} // namespace tavolin
