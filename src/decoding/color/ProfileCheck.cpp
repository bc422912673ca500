#include "decoding/color/ProfileCheck.h"

#include "pixels/Limits.h"

#include <QtEndian>

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>

namespace tavolin {

namespace {

constexpr quint32 HEADER_BYTES = 128;
/// Press profiles have about 20.
constexpr quint32 MAX_TAGS = 100;
/// Of a table or a stage: as many as ICC's colour spaces have.
constexpr quint32 MAX_CHANNELS = 15;
/// Stages of a multiprocess tag, in which a table may stand as often as it is pointed to. Two
/// matrices, two sets of curves and a table are usual.
constexpr quint32 MAX_ELEMENTS = 16;
constexpr quint32 MAX_SEGMENTS = 32;
constexpr quint32 MAX_CURVE_ENTRIES = 65'536;
/// What all tables of a profile together may have, counted as often as they are pointed to.
constexpr std::uint64_t MAX_TABLE_BYTES = std::uint64_t{32} << 20;

/// A part of a profile; what is outside of it reads as 0 and makes it bad.
class ProfileReader
{
public:
    explicit ProfileReader(std::string_view bytes) : m_bytes(bytes) {}

    [[nodiscard]] quint32 u8(std::uint64_t at) { return number<quint8>(at); }
    [[nodiscard]] quint32 u16(std::uint64_t at) { return number<quint16>(at); }
    [[nodiscard]] quint32 u32(std::uint64_t at) { return number<quint32>(at); }
    [[nodiscard]] bool has(std::uint64_t at, std::uint64_t length) const
    {
        return at <= m_bytes.size() && length <= m_bytes.size() - at;
    }
    [[nodiscard]] ProfileReader from(std::uint64_t at, std::uint64_t length) const
    {
        return ProfileReader(has(at, length) ? m_bytes.substr(at, length) : std::string_view());
    }
    [[nodiscard]] ProfileReader from(std::uint64_t at) const
    {
        return from(at, at <= m_bytes.size() ? m_bytes.size() - at : 0);
    }
    [[nodiscard]] std::string_view type() const { return m_bytes.substr(0, 4); }
    [[nodiscard]] bool isGood() const { return m_isGood; }

private:
    template <typename T>
    quint32 number(std::uint64_t at)
    {
        m_isGood = m_isGood && has(at, sizeof(T));
        return m_isGood ? qFromBigEndian<T>(m_bytes.data() + at) : 0;
    }

    std::string_view m_bytes;
    bool m_isGood = true;
};

class ProfileCheck
{
public:
    explicit ProfileCheck(const QByteArray &icc)
        : m_profile(std::string_view(icc.constData(), static_cast<std::size_t>(icc.size())))
    {}

    bool isSound()
    {
        const quint32 count = m_profile.u32(HEADER_BYTES);
        if (!m_profile.isGood() || count > MAX_TAGS)
            return false;
        for (quint32 i = 0; i < count; ++i) {
            const std::uint64_t entry = HEADER_BYTES + 4 + std::uint64_t{i} * 12;
            const quint32 offset = m_profile.u32(entry + 4);
            const quint32 size = m_profile.u32(entry + 8);
            if (!m_profile.isGood())
                return false;
            // Some profiles end before their last tag does; LittleCMS leaves those tags out.
            if (m_profile.has(offset, size) && !isSoundTag(m_profile.from(offset, size)))
                return false;
        }
        return true;
    }

private:
    bool isSoundTag(ProfileReader tag)
    {
        if (tag.type() == "curv" || tag.type() == "para")
            return curveBytes(tag) > 0;
        if (tag.type() == "mft1")
            return isSoundLut(tag, 48, 256, 256, 1);
        if (tag.type() == "mft2")
            return isSoundLut(tag, 52, tag.u16(48), tag.u16(50), 2);
        if (tag.type() == "mAB " || tag.type() == "mBA ")
            return isSoundLutAB(tag);
        if (tag.type() == "mpet")
            return areSoundElements(tag);
        return true;
    }

    /// Adds @p bytes of a table, which lie @p areInside.
    bool count(std::uint64_t bytes, bool areInside)
    {
        m_tableBytes += std::min(bytes, MAX_TABLE_BYTES + 1);
        return areInside && m_tableBytes <= MAX_TABLE_BYTES;
    }

    /// Bytes of a curve with its padding (10.6, 10.18); 0 where it is not sound.
    std::uint64_t curveBytes(ProfileReader curve)
    {
        std::uint64_t bytes = 0;
        if (curve.type() == "curv") {
            const quint32 entries = curve.u32(8);
            if (entries > MAX_CURVE_ENTRIES)
                return 0;
            bytes = 12 + std::uint64_t{entries} * 2;
        } else if (curve.type() == "para") {
            constexpr quint32 PARAMETERS[] = {1, 3, 4, 5, 7};
            const quint32 kind = curve.u16(8);
            if (kind >= std::size(PARAMETERS))
                return 0;
            bytes = 12 + std::uint64_t{PARAMETERS[kind]} * 4;
        }
        const bool isGood = curve.isGood() && count(bytes, curve.has(0, bytes));
        return isGood ? (bytes + 3) / 4 * 4 : 0;
    }

    bool areSoundCurves(ProfileReader tag, quint32 offset, quint32 channels)
    {
        std::uint64_t at = offset;
        for (quint32 i = 0; offset != 0 && i < channels; ++i) {
            const std::uint64_t bytes = curveBytes(tag.from(at));
            if (bytes == 0)
                return false;
            // The last one's padding may be missing.
            at += bytes;
        }
        return true;
    }

    /// lut8Type and lut16Type (10.10, 10.11): curves of @p before and @p after entries of
    /// @p width bytes around a table, from byte @p begin on.
    bool isSoundLut(ProfileReader tag, std::uint64_t begin, quint32 before, quint32 after,
                    std::uint64_t width)
    {
        const quint32 in = tag.u8(8);
        const quint32 out = tag.u8(9);
        if (in == 0 || out == 0 || in > MAX_CHANNELS || out > MAX_CHANNELS ||
            before > MAX_CURVE_ENTRIES || after > MAX_CURVE_ENTRIES)
            return false;
        std::uint64_t entries = out;
        const quint32 grid = tag.u8(10);
        for (quint32 i = 0; i < in && entries <= MAX_TABLE_BYTES; ++i)
            entries *= grid;
        const std::uint64_t bytes =
            (entries + std::uint64_t{in} * before + std::uint64_t{out} * after) * width;
        return tag.isGood() && count(bytes, tag.has(begin, bytes));
    }

    /// lutAToBType and lutBToAType (10.12, 10.13).
    bool isSoundLutAB(ProfileReader tag)
    {
        const quint32 in = tag.u8(8);
        const quint32 out = tag.u8(9);
        if (in == 0 || out == 0 || in > MAX_CHANNELS || out > MAX_CHANNELS)
            return false;
        // B, M and A curves; which of them face the input depends on the direction.
        const bool isToB = tag.type() == "mAB ";
        const quint32 table = tag.u32(24);
        return areSoundCurves(tag, tag.u32(12), isToB ? out : in) &&
               areSoundCurves(tag, tag.u32(20), isToB ? out : in) &&
               areSoundCurves(tag, tag.u32(28), isToB ? in : out) && tag.isGood() &&
               (table == 0 || isSoundTable(tag.from(table), in, out, tag.from(table).u8(16), 20));
    }

    /// A table with a size of its own for each dimension, which stand at its beginning.
    bool isSoundTable(ProfileReader table, quint32 in, quint32 out, quint32 width,
                      std::uint64_t begin)
    {
        std::uint64_t bytes = std::uint64_t{out} * width;
        for (quint32 i = 0; i < in && bytes <= MAX_TABLE_BYTES; ++i)
            bytes *= table.u8(i);
        return table.isGood() && count(bytes, table.has(begin, bytes));
    }

    /// multiProcessElementsType (10.17): a list of stages anywhere in the tag.
    bool areSoundElements(ProfileReader tag)
    {
        const quint32 elements = tag.u32(12);
        if (elements > MAX_ELEMENTS)
            return false;
        for (quint32 i = 0; i < elements; ++i) {
            const std::uint64_t entry = 16 + std::uint64_t{i} * 8;
            const quint32 offset = tag.u32(entry);
            const quint32 size = tag.u32(entry + 4);
            if (!tag.isGood() || !isSoundElement(tag.from(offset, size)))
                return false;
        }
        return tag.isGood();
    }

    bool isSoundElement(ProfileReader element)
    {
        const quint32 in = element.u16(8);
        const quint32 out = element.u16(10);
        if (!element.isGood() || in == 0 || out == 0 || in > MAX_CHANNELS || out > MAX_CHANNELS)
            return false;
        if (element.type() == "clut")
            return isSoundTable(element.from(12), in, out, 4, 16);
        for (quint32 i = 0; element.type() == "cvst" && i < in; ++i) {
            const std::uint64_t entry = 12 + std::uint64_t{i} * 8;
            const quint32 offset = element.u32(entry);
            const quint32 size = element.u32(entry + 4);
            if (!element.isGood() || !isSoundSegmentedCurve(element.from(offset, size)))
                return false;
        }
        return true;
    }

    bool isSoundSegmentedCurve(ProfileReader curve)
    {
        const quint32 segments = curve.u16(8);
        if (!curve.isGood() || segments == 0 || segments > MAX_SEGMENTS)
            return false;
        std::uint64_t at = 12 + std::uint64_t{segments - 1} * 4; // after the breaks
        for (quint32 i = 0; i < segments; ++i) {
            const ProfileReader segment = curve.from(at);
            const quint32 value = ProfileReader(segment).u32(8);
            std::uint64_t bytes = 0;
            if (segment.type() == "samf") // samples
                bytes = 12 + std::uint64_t{value} * 4;
            else if (segment.type() == "parf") // a formula, whose kind is two bytes
                bytes = 12 + std::uint64_t{value >> 16 == 0 ? 4U : 5U} * 4;
            if (bytes == 0 || bytes / 4 > MAX_CURVE_ENTRIES || !count(bytes, curve.has(at, bytes)))
                return false;
            at += bytes;
        }
        return true;
    }

    ProfileReader m_profile;
    std::uint64_t m_tableBytes = 0;
};

} // namespace

bool isSoundProfile(const QByteArray &icc)
{
    return icc.size() <= MAX_PROFILE_BYTES && ProfileCheck(icc).isSound();
}

QByteArray soundProfile(QByteArray icc)
{
    return isSoundProfile(icc) ? std::move(icc) : QByteArray();
}

} // namespace tavolin
