#include "editing/CropRatio.h"

#include "editing/CropAngle.h"

#include <QStringList>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <vector>

using namespace Qt::StringLiterals;

namespace tavolin {

namespace {

/// Beyond any picture's shape, either way; boxes are still numbers here.
constexpr double MAX_RATIO = 1e6;

QStringList sides(const QString &name)
{
    return name.split(u':', Qt::SkipEmptyParts);
}

} // namespace

QString ratioName(RatioPreset preset)
{
    switch (preset) {
    case RatioPreset::Free:
        break;
    case RatioPreset::Original:
        return u"Original"_s;
    case RatioPreset::Square:
        return u"1:1"_s;
    case RatioPreset::FourByThree:
        return u"4:3"_s;
    case RatioPreset::SixteenByNine:
        return u"16:9"_s;
    }
    return u"Free"_s;
}

std::optional<RatioChoice> ratioChoice(RatioPreset preset, std::optional<QSize> imageSize)
{
    RatioChoice choice{.ratio = {}, .name = ratioName(preset)};
    switch (preset) {
    case RatioPreset::Free:
        break;
    case RatioPreset::Original:
        if (!imageSize || imageSize->isEmpty())
            return {};
        choice.ratio = static_cast<double>(imageSize->width()) / imageSize->height();
        break;
    case RatioPreset::Square:
        choice.ratio = 1;
        break;
    case RatioPreset::FourByThree:
        choice.ratio = 4.0 / 3;
        break;
    case RatioPreset::SixteenByNine:
        choice.ratio = 16.0 / 9;
        break;
    }
    return choice;
}

QString flipRatioName(const QString &name)
{
    const QStringList parts = sides(name);
    return parts.size() == 2 ? parts[1] + u':' + parts[0] : name;
}

bool isSelected(RatioPreset preset, const QString &name)
{
    const QString own = ratioName(preset);
    return own == name || flipRatioName(own) == name;
}

bool isCustomRatio(const QString &name)
{
    const auto isNamed = [](const QString &candidate) {
        return std::any_of(RATIO_PRESETS.begin(), RATIO_PRESETS.end(),
                           [&](RatioPreset preset) { return ratioName(preset) == candidate; });
    };
    return !isNamed(name) && !isNamed(flipRatioName(name));
}

std::optional<double> parseCustomRatio(const QString &text)
{
    std::vector<double> numbers;
    for (const QString &part : sides(text)) {
        bool isNumber = false;
        const double number = part.trimmed().toDouble(&isNumber);
        if (isNumber && std::isfinite(number))
            numbers.push_back(number);
    }
    if (numbers.size() != 2 || !(numbers[0] > 0) || !(numbers[1] > 0))
        return {};
    const double ratio = numbers[0] / numbers[1];
    if (!(ratio >= 1 / MAX_RATIO) || !(ratio <= MAX_RATIO))
        return {};
    return ratio;
}

QString angleText(double degrees)
{
    // Unlike the formats of C and of Qt it knows no locale and keeps the sign of a rounded 0.
    std::array<char, 400> digits; // the largest double has 309 before the point
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), degrees,
                                   std::chars_format::fixed, 1)
                         .ptr;
    QString text = QString::fromLatin1(digits.data(), end - digits.data()) + u'°';
    if (isTurned(degrees) && degrees > 0)
        text.prepend(u'+');
    return text;
}

} // namespace tavolin
