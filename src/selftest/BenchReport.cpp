#include "selftest/BenchReport.h"

#include "browse/PlainText.h"

#include <cmath>
#include <cstdlib>

using namespace Qt::StringLiterals;

namespace tavolin {

namespace {

bool isNear(double result, double expected)
{
    return std::abs(result - expected) < 0.02 * expected + 4;
}

} // namespace

QString navigationReport(const NavigationRun &run)
{
    return u"BENCH steps=%1 final_target=%2 final_current=%3 frames_shown=%4 cache=%5\n"_s
               .arg(run.steps)
               .arg(run.targetIndex)
               .arg(run.currentIndex)
               .arg(run.framesShown)
               .arg(run.cachedPictures) +
           (run.currentIndex == run.targetIndex ? u"BENCH OK: image caught up with counter"_s
                                                : u"BENCH FAIL: image frozen behind counter"_s);
}

QString saveReport(std::optional<QSize> saved, QSize edited)
{
    if (!saved)
        return u"BENCH EDIT FAIL: file not saved"_s;
    return u"BENCH EDIT saved=%1x%2 edited=%3x%4\n"_s.arg(saved->width())
               .arg(saved->height())
               .arg(edited.width())
               .arg(edited.height()) +
           (std::abs(saved->width() - edited.width()) < 3 ? u"BENCH EDIT OK"_s
                                                          : u"BENCH EDIT FAIL: size mismatch"_s);
}

QString metadataReport(const std::optional<QString> &make, int orientation)
{
    if (!make)
        return u"BENCH EXIF FAIL: no TIFF metadata in saved file"_s;
    const bool passed = *make == BENCH_MAKE && orientation == 1;
    return u"BENCH EXIF make="_s + plainText(*make) + u" orient="_s + QString::number(orientation) +
           (passed ? u" OK"_s : u" FAIL"_s);
}

QString rotationReport(QSize result, QSizeF expected)
{
    const bool passed =
        isNear(result.width(), expected.width()) && isNear(result.height(), expected.height());
    return u"BENCH ROTATE result=%1x%2 expect≈%3x%4\n"_s.arg(result.width())
               .arg(result.height())
               .arg(static_cast<int>(expected.width()))
               .arg(static_cast<int>(expected.height())) +
           (passed ? u"BENCH ROTATE OK"_s : u"BENCH ROTATE FAIL: size mismatch"_s);
}

} // namespace tavolin
