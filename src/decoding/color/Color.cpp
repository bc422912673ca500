#include "decoding/color/Color.h"

#include "decoding/color/ProfileCheck.h"
#include "pixels/Bands.h"
#include "pixels/Limits.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <deque>
#include <memory>
#include <mutex>
#include <numeric>
#include <span>
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

/// A transform that several threads may use at once.
Transform makeTransform(const Profile &from, cmsUInt32Number format, const Profile &to,
                        cmsUInt32Number flags = 0)
{
    if (!from || !to)
        return nullptr;
    // LittleCMS 2.16 refuses to copy what is not there.
    const cmsUInt32Number alpha = T_EXTRA(format) == T_EXTRA(SCREEN) ? cmsFLAGS_COPY_ALPHA : 0;
    return Transform(cmsCreateTransform(from.get(), format, to.get(), SCREEN, INTENT_PERCEPTUAL,
                                        cmsFLAGS_NOCACHE | alpha | flags));
}

/// The profile of a monitor; null where pictures can't be converted into it, or white would not be
/// lighter than black there.
Profile openMonitorProfile(const QByteArray &icc)
{
    Profile monitor = icc.isEmpty() ? nullptr : openProfile(icc);
    if (!monitor || cmsGetDeviceClass(monitor.get()) != cmsSigDisplayClass ||
        cmsGetColorSpace(monitor.get()) != cmsSigRgbData)
        return nullptr;
    const Transform transform =
        makeTransform(Profile(cmsCreate_sRGBProfile()), SCREEN, monitor, cmsFLAGS_NOOPTIMIZE);
    if (!transform)
        return nullptr;
    const std::array<Pixel, 2> blackAndWhite{0xff000000, 0xffffffff};
    std::array<Pixel, 2> shown{};
    cmsDoTransform(transform.get(), blackAndWhite.data(), shown.data(), 2);
    for (int shift = 0; shift < 24; shift += 8)
        if ((shown[0] >> shift & 0xff) >= (shown[1] >> shift & 0xff))
            return nullptr;
    return monitor;
}

/// Whether a grid of colours comes out of @p transform as it went in, within one level.
bool isIdentity(const Transform &transform)
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

using GreyLevels = std::array<Pixel, 256>;

/// What each level of the grey profile @p profile is in @p target; empty where it can't be used.
std::optional<GreyLevels> greyLevels(const Profile &profile, const Profile &target)
{
    const Transform levels = makeTransform(profile, TYPE_GRAY_8, target);
    if (!levels)
        return std::nullopt;
    std::array<std::uint8_t, 256> ramp{};
    std::iota(ramp.begin(), ramp.end(), std::uint8_t{0});
    GreyLevels shown{};
    cmsDoTransform(levels.get(), ramp.data(), shown.data(), 256);
    return shown;
}

QByteArray makeRgbProfile(const Primaries &primaries, const Curve &curve)
{
    const auto withFullLight = [](Chromaticity color) { return cmsCIExyY{color.x, color.y, 1.0}; };
    const cmsCIExyY white = withFullLight(primaries.white);
    const cmsCIExyYTRIPLE colors{withFullLight(primaries.red), withFullLight(primaries.green),
                                 withFullLight(primaries.blue)};
    cmsToneCurve *const curves[] = {curve.get(), curve.get(), curve.get()};
    const Profile profile(cmsCreateRGBProfile(&white, &colors, curves));
    cmsUInt32Number bytes = 0;
    if (!profile || !cmsSaveProfileToMem(profile.get(), nullptr, &bytes))
        return {};
    QByteArray icc(static_cast<qsizetype>(bytes), '\0');
    cmsSaveProfileToMem(profile.get(), icc.data(), &bytes);
    // The time of its making (ICC.1:2022, 7.2.8) would make equal profiles differ.
    constexpr char FIRST_OF_2000[] = "\x07\xd0\0\1\0\1\0\0\0\0\0";
    icc.replace(24, sizeof FIRST_OF_2000, FIRST_OF_2000, sizeof FIRST_OF_2000);
    return icc;
}

/// Twice the area of the triangle, above 0 when its corners follow each other counterclockwise.
double doubleArea(Chromaticity a, Chromaticity b, Chromaticity c)
{
    return (b.x - a.x) * (c.y - a.y) - (c.x - a.x) * (b.y - a.y);
}

/// Whether every channel adds light to the white, and that is one which eyes adapt to: from an
/// incandescent lamp to the blue sky.
bool areUsable(const Primaries &primaries)
{
    const auto &[white, red, green, blue] = primaries;
    constexpr double LEAST_SHARE = 0.001;
    const bool isWhite = white.x >= 0.2 && white.x <= 0.5 && white.y >= 0.25 && white.y <= 0.5 &&
                         white.x + white.y <= 0.95;
    const auto isColor = [](Chromaticity color) {
        return color.x >= 0 && color.y > 0 && color.x + color.y <= 1.0001;
    };
    return isWhite && isColor(red) && isColor(green) && isColor(blue) &&
           doubleArea(white, red, green) > LEAST_SHARE &&
           doubleArea(white, green, blue) > LEAST_SHARE &&
           doubleArea(white, blue, red) > LEAST_SHARE;
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

} // namespace

/// One of the two is there, or there is nothing to do.
struct ColorConversion::Way
{
    Way(const QByteArray &from, const QByteArray &to);

    Transform transform;            // of SCREEN pixels
    std::optional<GreyLevels> grey; // what each level becomes
};

ColorConversion::Way::Way(const QByteArray &from, const QByteArray &to)
{
    const Profile srgb(cmsCreate_sRGBProfile());
    const Profile monitor = openMonitorProfile(to);
    const Profile &target = monitor ? monitor : srgb;
    if (const Profile picture = openProfile(from)) {
        // As a number: a profile may say anything.
        const auto space = static_cast<std::uint32_t>(cmsGetColorSpace(picture.get()));
        if (space == cmsSigRgbData)
            transform = makeTransform(picture, SCREEN, target);
        else if (space == cmsSigGrayData)
            grey = greyLevels(picture, target);
        // Rounding must not tint it where nothing else does.
        for (Pixel &level : grey && !monitor ? std::span(*grey) : std::span<Pixel>())
            level = (level >> 8 & 0xff) * 0x010101;
    }
    if (!transform && !grey && monitor)
        transform = makeTransform(srgb, SCREEN, monitor);
    if (transform && isIdentity(transform))
        transform = nullptr;
}

ColorConversion::ColorConversion(const QByteArray &picture, const QByteArray &monitor)
{
    if (picture == monitor)
        return;
    // A folder's pictures mostly share one profile, or have one of few.
    struct Made
    {
        QByteArray picture;
        QByteArray monitor;
        std::shared_ptr<const Way> way;
    };
    constexpr std::size_t MOST_KEPT = 4;
    static std::mutex mutex;
    static std::deque<Made> made; // the newest first
    {
        const std::lock_guard guard(mutex);
        const auto same = std::ranges::find_if(made, [&](const Made &each) {
            return each.picture == picture && each.monitor == monitor;
        });
        if (same != made.end()) {
            m_way = same->way;
            return;
        }
    }
    m_way = std::make_shared<const Way>(picture, monitor);
    const std::lock_guard guard(mutex);
    made.push_front({picture, monitor, m_way});
    if (made.size() > MOST_KEPT)
        made.pop_back();
}

bool ColorConversion::changesNothing() const
{
    return !m_way || (!m_way->transform && !m_way->grey);
}

void ColorConversion::convertRow(const Pixel *from, Pixel *to, int pixels, Alpha alpha) const
{
    Q_ASSERT(!changesNothing());
    // A profile speaks of colours that are not multiplied by alpha.
    const bool isOpaque = alpha == Alpha::Opaque;
    if (!isOpaque) {
        std::transform(from, from + pixels, to,
                       [](Pixel pixel) { return withColors(pixel, unmultiplied); });
        from = to;
    }
    if (m_way->grey)
        std::transform(from, from + pixels, to, [&grey = *m_way->grey](Pixel pixel) {
            return (pixel & 0xff000000) | (grey[pixel >> 16 & 0xff] & 0xff0000) |
                   (grey[pixel >> 8 & 0xff] & 0xff00) | (grey[pixel & 0xff] & 0xff);
        });
    else
        cmsDoTransform(m_way->transform.get(), from, to, static_cast<cmsUInt32Number>(pixels));
    if (!isOpaque)
        std::transform(to, to + pixels, to,
                       [](Pixel pixel) { return withColors(pixel, multiplied); });
}

Image toSrgb(Image image, std::stop_token stop)
{
    return converted(std::move(image), {}, std::move(stop));
}

Image converted(Image image, const QByteArray &monitor, std::stop_token stop)
{
    if (image.isNull())
        return image;
    const ColorConversion conversion(image.iccProfile(), monitor);
    if (conversion.changesNothing())
        return image.withProfile(monitor);
    const QSize size = image.size();
    const Alpha alpha = image.alpha();
    PixelBuffer result = PixelBuffer::takenFrom(image);
    if (result.isNull())
        result = PixelBuffer(size);
    if (result.isNull())
        return {};
    forBands(size.height(), LEAST_BAND_ROWS, [&](int begin, int end) {
        for (int y = begin; y < end && !stop.stop_requested(); ++y)
            conversion.convertRow(image.isNull() ? result.row(y) : image.row(y), result.row(y),
                                  size.width(), alpha);
    });
    if (stop.stop_requested())
        return {};
    return std::move(result).toImage(alpha, monitor);
}

std::optional<QString> monitorName(const QByteArray &monitor)
{
    const Profile profile = openMonitorProfile(monitor);
    if (!profile)
        return std::nullopt;
    std::array<wchar_t, 256> name{}; // of longer ones the beginning
    cmsGetProfileInfo(profile.get(), cmsInfoDescription, "en", "US", name.data(),
                      static_cast<cmsUInt32Number>((name.size() - 1) * sizeof(wchar_t)));
    return QString::fromWCharArray(name.data());
}

void convertCmykToSrgb(PixelBuffer &inks, const QByteArray &iccProfile, bool isInverted)
{
    const Profile profile = openProfile(iccProfile);
    const bool isUsable = profile && cmsGetColorSpace(profile.get()) == cmsSigCmykData;
    const Transform transform =
        isUsable ? makeTransform(profile, isInverted ? TYPE_CMYK_8_REV : TYPE_CMYK_8,
                                 Profile(cmsCreate_sRGBProfile()))
                 : nullptr;
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

QByteArray rgbProfile(const Primaries &primaries, std::optional<double> gamma)
{
    constexpr double MOST_GAMMA = 10.0;
    if (!areUsable(primaries) || (gamma && !(*gamma >= 1 / MOST_GAMMA && *gamma <= MOST_GAMMA)))
        return {};
    return makeRgbProfile(primaries, gamma ? Curve(cmsBuildGamma(nullptr, *gamma)) : srgbCurve());
}

const QByteArray &adobeRgbProfile()
{
    static const QByteArray profile =
        rgbProfile({D65, {0.64, 0.33}, {0.21, 0.71}, {0.15, 0.06}}, 563.0 / 256.0);
    return profile;
}

const QByteArray &srgbProfile()
{
    static const QByteArray profile = rgbProfile(SRGB_PRIMARIES, {});
    return profile;
}

const QByteArray &displayP3Profile()
{
    static const QByteArray profile =
        rgbProfile({D65, {0.680, 0.320}, {0.265, 0.690}, {0.150, 0.060}}, {});
    return profile;
}

} // namespace tavolin
