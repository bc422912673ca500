#include "screen/Screen.h"

#include "pixels/Geometry.h"

#include <QWidget>

namespace tavolin {

void Screen::showThumb(const DisplayPicture &picture, QSize shape)
{
    m_currentThumb = picture.image;
    m_imageLayer.contents = picture.image;
    m_imageLayer.shape = shape;
    m_imageLayer.rendition = picture.rendition;
    refreshRendition();
    m_view.update();
}

void Screen::showNothing()
{
    m_currentThumb = {}; // the loupe's end would bring it back
    m_imageLayer.contents = {};
    m_imageLayer.shape = {};
    m_imageLayer.rendition = {};
    m_view.update();
}

void Screen::refreshRendition()
{
    if (m_imageLayer.gravity != Gravity::ResizeAspect) // the loupe's end asks again
        return;
    m_imageLayer.frame = imageAreaRect();
    const double scale = m_view.devicePixelRatio();
    if (m_imageLayer.contents.isNull() || isRenditionCurrent(m_imageLayer, scale))
        return;
    // The window has another size than when the picture was decoded.
    m_imageLayer.rendition =
        makeRendition(m_imageLayer.contents, fittedPixels(m_imageLayer, scale).size());
    m_view.update();
}

void Screen::sharpen(const Image &image, const Image &rendition)
{
    // In crop mode, or in a view of another size by now, it is of another size.
    if (!m_currentThumb.isSameAs(image) || rendition.size() != m_imageLayer.rendition.size())
        return;
    m_imageLayer.rendition = rendition;
    m_view.update();
}

void Screen::stretch(const QRectF &frame)
{
    m_imageLayer.gravity = Gravity::Resize;
    m_imageLayer.frame = frame;
    m_view.update();
}

void Screen::stretchOther(const Image &image)
{
    m_imageLayer.contents = image;
    m_view.update();
}

void Screen::unstretch()
{
    m_imageLayer.gravity = Gravity::ResizeAspect;
    m_imageLayer.contents = m_currentThumb;
    refreshRendition();
    m_view.update();
}

void Screen::paint(QPainter &painter) const
{
    paintLayer(painter, m_imageLayer, m_view.size(), m_view.devicePixelRatio());
}

QRectF Screen::imageAreaRect() const
{
    return tavolin::imageAreaRect(m_view.size(), m_mode);
}

QRectF Screen::fitRect() const
{
    return tavolin::fitRect(imageAreaRect(), m_imageLayer.shape.isEmpty() ? m_currentThumb.size()
                                                                          : m_imageLayer.shape);
}

int Screen::maxPixel() const
{
    const QWidget *window = m_view.window();
    const auto scale = window->screen() ? std::optional(m_view.devicePixelRatio()) : std::nullopt;
    return displayLimit(window->frameGeometry().size(), scale);
}

DisplayTarget Screen::displayTarget() const
{
    return {maxPixel(), tavolin::imageAreaRect(m_view.size(), ViewMode::Browsing),
            m_view.devicePixelRatio(), m_profile};
}

} // namespace tavolin
