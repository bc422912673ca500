#pragma once
// What is shown: the picture in the view, where it lies, and what is known of its size.

#include "pixels/DisplayPicture.h"
#include "screen/DisplayGeometry.h"
#include "screen/ImageLayer.h"

#include <QByteArray>
#include <QRectF>
#include <QSize>

#include <optional>

class QPainter;
class QWidget;

namespace tavolin {

/// Owns the picture on screen. @p view must outlive this.
class Screen
{
public:
    explicit Screen(QWidget &view) : m_view(view) {}

    /// Shows @p picture, with its rendition where that has the size needed now, else with a new
    /// one. Fitted in the shape of a picture of @p shape pixels, or in its own.
    void showThumb(const DisplayPicture &picture, QSize shape = {});
    /// Shows black.
    void showNothing();
    /// Makes the rendition that the view's present size and mode ask for, unless it is there.
    void refreshRendition();

    /// Paints @p rendition in the place of the one on screen, where that is of @p image and has the
    /// same size: the same picture, made of more pixels.
    void sharpen(const Image &image, const Image &rendition);

    /// The profile of the monitor that the window is on, unread; empty: sRGB. What is on screen
    /// stays what it is.
    [[nodiscard]] const QByteArray &profile() const { return m_profile; }
    void setProfile(const QByteArray &profile) { m_profile = profile; }
    /// Whether @p image is in the colours of that monitor.
    [[nodiscard]] bool hasColorsOf(const Image &image) const
    {
        return image.iccProfile() == m_profile;
    }

    /// What the picture leaves room for: nothing, or the crop bar. The rendition stays as it is.
    void setMode(ViewMode mode) { m_mode = mode; }
    [[nodiscard]] bool isCropping() const { return m_mode == ViewMode::Cropping; }

    /// Stretches what is on screen to @p frame, in view points.
    void stretch(const QRectF &frame);
    /// Stretches @p image instead, in the monitor's colours, without a new frame.
    void stretchOther(const Image &image);
    /// Shows the fitted picture again.
    void unstretch();

    /// What is on screen when it is not stretched; null: nothing.
    [[nodiscard]] const Image &currentThumb() const { return m_currentThumb; }
    /// What the view paints.
    [[nodiscard]] const ImageLayer &imageLayer() const { return m_imageLayer; }
    void paint(QPainter &painter) const;

    /// Where the picture may lie, and where it lies when fitted, in view points.
    [[nodiscard]] QRectF imageAreaRect() const;
    [[nodiscard]] QRectF fitRect() const;

    /// The longest side to decode for the window's present screen, in pixels.
    [[nodiscard]] int maxPixel() const;
    /// What to decode for. Always the full view: what is decoded during crop mode
    /// is shown after it.
    [[nodiscard]] DisplayTarget displayTarget() const;

    /// Pixels of the full picture that is on screen, upright; empty while unknown.
    [[nodiscard]] std::optional<QSize> currentPixelSize() const { return m_currentPixelSize; }
    void setCurrentPixelSize(std::optional<QSize> size) { m_currentPixelSize = size; }

private:
    QWidget &m_view;
    ViewMode m_mode = ViewMode::Browsing;
    ImageLayer m_imageLayer;
    Image m_currentThumb;
    std::optional<QSize> m_currentPixelSize;
    QByteArray m_profile;
};

} // namespace tavolin
