#include "browse/PhotoInfo.h"

#include "browse/PlainText.h"

#include <array>
#include <charconv>
#include <cmath>
#include <utility>

using namespace Qt::StringLiterals;

namespace tavolin {

namespace {

/// Real names of cameras and lenses have up to about 70 characters.
constexpr qsizetype MAX_TEXT_LENGTH = 200;

/// As "%.1f" in the C locale has it, which rounds the exact value of the number.
QString withOneDecimal(double value)
{
    std::array<char, 320> text; // the largest double has 309 digits
    const auto end =
        std::to_chars(text.begin(), text.end(), value, std::chars_format::fixed, 1).ptr;
    return QString::fromLatin1(text.data(), end - text.data());
}

/// To the nearest whole number, halves away from zero.
QString rounded(double value)
{
    return QString::number(std::round(value), 'f', 0);
}

/// @p text, with which a file can do no harm on the screen.
QString tamed(QString text)
{
    if (text.size() > MAX_TEXT_LENGTH) {
        const bool cutsPair = text.at(MAX_TEXT_LENGTH).isLowSurrogate();
        text.truncate(cutsPair ? MAX_TEXT_LENGTH - 1 : MAX_TEXT_LENGTH);
    }
    return plainText(std::move(text));
}

QString exposureSettings(const PhotoMetadata &metadata)
{
    QStringList settings;
    if (metadata.focalLength)
        settings << rounded(*metadata.focalLength) + u"mm"_s;
    if (metadata.fNumber)
        settings << u"f/"_s + withOneDecimal(*metadata.fNumber);
    if (const double seconds = metadata.exposureTime.value_or(0); seconds >= 1)
        settings << withOneDecimal(seconds) + u's';
    else if (seconds > 0)
        settings << u"1/"_s + rounded(1 / seconds) + u's';
    if (metadata.iso)
        settings << u"ISO"_s + QString::number(*metadata.iso);
    return settings.join(u' ');
}

} // namespace

QStringList infoSegments(const PhotoMetadata &metadata, std::optional<std::uintmax_t> fileBytes)
{
    QStringList segments;
    if (const auto size = metadata.pixelSize)
        segments << QString::number(size->width()) + u'×' + QString::number(size->height());
    if (fileBytes)
        segments << withOneDecimal(static_cast<double>(*fileBytes) / (1 << 20)) + u"MB"_s;
    if (metadata.model)
        segments << tamed(metadata.model->trimmed()).trimmed();
    if (metadata.lensModel)
        segments << tamed(metadata.lensModel->trimmed()).trimmed();
    if (const QString settings = exposureSettings(metadata); !settings.isEmpty())
        segments << settings;
    if (metadata.dateTimeOriginal)
        segments << tamed(*metadata.dateTimeOriginal);
    return segments;
}

QString infoLine(const QStringList &segments)
{
    return segments.join(u"  |  "_s);
}

PhotoInfo photoInfo(const std::optional<PhotoFacts> &facts)
{
    if (!facts)
        return {};
    return {facts->metadata.pixelSize, infoSegments(facts->metadata, facts->fileBytes)};
}

} // namespace tavolin
