#include "platform/Failure.h"

#include <array>
#include <utility>

using namespace Qt::StringLiterals;

namespace tavolin {

Failure knownReason(const std::error_code &error)
{
    static constexpr std::array REASONS{
        std::pair{ENOSPC, u"พื้นที่เต็ม"},
        std::pair{EDQUOT, u"พื้นที่เต็ม"},
        std::pair{EACCES, u"ไม่มีสิทธิ์"},
        std::pair{EPERM, u"ไม่มีสิทธิ์"},
        std::pair{EROFS, u"ดิสก์อ่านได้อย่างเดียว"},
        std::pair{EEXIST, u"มีไฟล์อื่นชื่อนี้อยู่แล้ว"},
        std::pair{ENAMETOOLONG, u"ชื่อไฟล์ยาวเกินไป"},
    };
    for (const auto &[number, reason] : REASONS)
        if (error == std::error_condition(number, std::generic_category()))
            return QString::fromUtf16(reason);
    return {};
}

Failure failureOf(const std::error_code &error)
{
    const Failure known = knownReason(error);
    return known ? known : QString::fromLocal8Bit(error.message());
}

} // namespace tavolin
