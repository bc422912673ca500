#include "pictures/Tiff.h"

#include <QtEndian>

#include <algorithm>
#include <cstring>
#include <utility>

namespace tavolin::pictures {

namespace {

constexpr qsizetype HEADER_BYTES = 8;
constexpr qsizetype ENTRY_BYTES = 12;

template <typename Number>
void put(QByteArray &out, qsizetype at, Number number)
{
    qToLittleEndian(number, out.data() + at);
}

template <typename Number>
void append(QByteArray &out, Number number)
{
    out.resize(out.size() + qsizetype{sizeof number});
    put(out, out.size() - qsizetype{sizeof number}, number);
}

/// Where the next thing may begin: on a word boundary, as TIFF wants it.
quint32 alignedEnd(QByteArray &out)
{
    if (out.size() % 2 != 0)
        out.append('\0');
    return static_cast<quint32>(out.size());
}

quint32 bytesPerValue(TiffType type)
{
    switch (type) {
    case TiffType::Byte:
    case TiffType::Ascii:
    case TiffType::Undefined:
        return 1;
    case TiffType::Short:
        return 2;
    case TiffType::Long:
        return 4;
    case TiffType::Rational:
    case TiffType::SignedRational:
        return 8;
    }
    return 1;
}

/// Appends @p directory and then what it points to; returns where it begins.
quint32 appendDirectory(QByteArray &out, TiffDirectory directory)
{
    std::sort(directory.begin(), directory.end(),
              [](const TiffField &a, const TiffField &b) { return a.tag < b.tag; });
    const auto count = static_cast<qsizetype>(directory.size());
    const quint32 start = alignedEnd(out);
    // The last four bytes stay 0: no further directory follows.
    out.append(2 + count * ENTRY_BYTES + 4, '\0');
    put(out, start, static_cast<quint16>(count));
    qsizetype entry = qsizetype{start} + 2;
    for (const TiffField &field : directory) {
        QByteArray value = field.value;
        for (const TiffDirectory &child : field.directories)
            append(value, appendDirectory(out, child));
        if (!field.data.isEmpty()) {
            append(value, alignedEnd(out));
            out += field.data;
        }
        put(out, entry, field.tag);
        put(out, entry + 2, static_cast<quint16>(field.type));
        put(out, entry + 4, static_cast<quint32>(value.size()) / bytesPerValue(field.type));
        if (value.size() <= 4) {
            std::memcpy(out.data() + entry + 8, value.constData(),
                        static_cast<std::size_t>(value.size()));
        } else {
            put(out, entry + 8, alignedEnd(out));
            out += value;
        }
        entry += ENTRY_BYTES;
    }
    return start;
}

} // namespace

TiffField bytesField(quint16 tag, TiffType type, QByteArray value)
{
    return {tag, type, std::move(value), {}, {}};
}

TiffField asciiField(quint16 tag, QByteArray text)
{
    return bytesField(tag, TiffType::Ascii, std::move(text) + '\0');
}

TiffField shortField(quint16 tag, std::initializer_list<int> values)
{
    TiffField field = bytesField(tag, TiffType::Short, {});
    for (const int value : values)
        append(field.value, static_cast<quint16>(value));
    return field;
}

TiffField longField(quint16 tag, qsizetype value)
{
    TiffField field = bytesField(tag, TiffType::Long, {});
    append(field.value, static_cast<quint32>(value));
    return field;
}

TiffField rationalField(quint16 tag, const std::vector<Fraction> &values)
{
    const bool isSigned = std::any_of(values.begin(), values.end(),
                                      [](const Fraction &value) { return value.numerator < 0; });
    TiffField field = bytesField(tag, isSigned ? TiffType::SignedRational : TiffType::Rational, {});
    for (const Fraction &value : values) {
        append(field.value, value.numerator);
        append(field.value, value.denominator);
    }
    return field;
}

TiffField directoriesField(quint16 tag, std::vector<TiffDirectory> directories)
{
    return {tag, TiffType::Long, {}, std::move(directories), {}};
}

TiffField dataField(quint16 tag, QByteArray data)
{
    Q_ASSERT(!data.isEmpty());
    return {tag, TiffType::Long, {}, {}, std::move(data)};
}

QByteArray tiffBlock(const TiffDirectory &first)
{
    QByteArray out("II*\0\0\0\0\0", HEADER_BYTES);
    put(out, 4, static_cast<quint32>(HEADER_BYTES));
    appendDirectory(out, first);
    return out;
}

} // namespace tavolin::pictures
