#include "screen/ViewerView.h"

#include <QPixmap>

#include <gtest/gtest.h>

namespace tavolin {
namespace {

/// A view on a screen of any scale.
class ScaledView : public ViewerView
{
public:
    double scale = 1;

protected:
    int metric(PaintDeviceMetric which) const override
    {
#if QT_VERSION >= QT_VERSION_CHECK(6, 8, 0)
        if (which == PdmDevicePixelRatioF_EncodedA || which == PdmDevicePixelRatioF_EncodedB)
            return encodeMetricF(which, scale);
#endif
        if (which == PdmDevicePixelRatio)
            return static_cast<int>(scale);
        if (which == PdmDevicePixelRatioScaled)
            return static_cast<int>(scale * devicePixelRatioFScale());
        return ViewerView::metric(which);
    }
};

TEST(ViewerView, TellsOfAnotherScaleAtTheSameSizeBeforeItPaints)
{
    ScaledView view;
    view.resize(60, 40);
    int changes = 0;
    int changesWhenPainted = -1;
    view.setHandlers({.resized = [&] { ++changes; },
                      .paint = [&](QPainter &) { changesWhenPainted = changes; }});
    view.show(); // or it would be told of its size each time
    view.grab();
    const int before = changes;
    view.grab();
    EXPECT_EQ(changes, before);
    view.scale = 1.25;
    view.grab();
    EXPECT_EQ(changes, before + 1);
    EXPECT_EQ(changesWhenPainted, before + 1);
    view.grab();
    EXPECT_EQ(changes, before + 1);
}

} // namespace
} // namespace tavolin
