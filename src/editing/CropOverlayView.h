#pragma once
// The view that lies over the picture in crop mode, with the box that the user shapes.

#include "editing/CropGeometry.h"
#include "editing/CropOverlayDrawing.h"

#include <QWidget>

#include <functional>
#include <optional>

namespace tavolin {

/// What the overlay asks about the picture below, always afresh. Each may be missing or know
/// nothing: the owner may be gone, or have no picture.
struct CropPicture
{
    /// The rectangle that the picture takes, in view points; the overlay's own without an answer.
    std::function<std::optional<QRectF>()> fitRect;
    /// Pixels of the picture being cropped a point; no read-out without an answer.
    std::function<std::optional<double>()> imagePixelScale;
    /// What lies over the overlay, in view points; nothing without an answer.
    std::function<QRectF()> bar = {};
    /// By which the picture is turned, in degrees; 0 without an answer.
    std::function<double()> angle = {};
};

/// The crop box: drawn, dragged with the left button, and reshaped by the owner's calls. The owner
/// keeps it as large as the view; a change of its size makes the box the default one again. Never
/// takes the keyboard.
class CropOverlayView : public QWidget
{
    Q_OBJECT

public:
    CropOverlayView(CropPicture picture, QWidget *parent);

    /// Holds the box to @p ratio, without changing it: for the shape that the first box shall have.
    void setInitialRatio(std::optional<double> ratio, const QString &name);
    /// Places the box anew, as large as the middle 80 % of the picture allow.
    void resetToDefaultBox();
    /// Fits the box to a picture whose rectangle has changed, and has the view with the picture
    /// painted anew.
    void refitBox();
    /// Reshapes the box to @p ratio (width by height), or sets it free; emits ratioChanged().
    void setRatio(std::optional<double> ratio, const QString &name);
    /// Swaps portrait and landscape; emits ratioChanged() unless the ratio is square.
    void flipOrientation();
    /// Moves the box by an arrow key, or resizes it if @p shift is held.
    void nudge(KeyCode code, bool shift);
    /// To be called when the picture's pixels a point have become others while it stays.
    void pixelScaleChanged();
    /// Puts the box at @p box, as it is.
    void setBox(const QRectF &box);

    [[nodiscard]] const QRectF &box() const { return m_crop.box; }
    [[nodiscard]] std::optional<double> ratio() const { return m_crop.ratio; }
    [[nodiscard]] const QString &ratioName() const { return m_crop.ratioName; }
    /// Where the picture lies, in view points.
    [[nodiscard]] QRectF imageBounds() const;
    /// What the box cuts out of a picture of @p fullSize pixels: in pixels, not rounded, clipped to
    /// the picture; empty when that is under 2 pixels wide or high.
    [[nodiscard]] std::optional<QRectF> boxInImagePixels(QSizeF fullSize) const;
    /// The box's size, unless that is unknown, and the angle, for assistive tools, which hear of
    /// each change: "1200 × 800 px, +2.5°".
    [[nodiscard]] QString description() const;

Q_SIGNALS:
    /// The size of the view has changed; emitted before the box is placed anew, so that the
    /// receiver can place the picture.
    void layoutChanged();
    /// The ratio or its name has been set.
    void ratioChanged();

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    [[nodiscard]] CropScene scene() const;
    void tellOfChange();

    CropPicture m_picture;
    CropBox m_crop;
    std::optional<CropDrag> m_drag; // while the left button is down
    QSize m_lastSize{0, 0};
};

} // namespace tavolin
