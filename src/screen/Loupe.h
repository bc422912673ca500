#pragma once
// The loupe: the picture at 100 % while the mouse is held. What is on screen is stretched at once;
// the full picture takes its place when it has been decoded.

#include "pixels/Image.h"

#include <QObject>
#include <QPointF>
#include <QSize>

#include <filesystem>
#include <functional>
#include <stop_token>
#include <utility>

namespace tavolin {

class BackgroundQueue;
class Labels;
class PictureReader;
class Screen;

/// What lies under the loupe.
struct LoupeSubject
{
    std::filesystem::path url;
    QSize pixelSize; ///< Of the full picture, upright.
    Image edited;    ///< The full picture, where it is not that of the file.
};

/// Owns the gesture. Positions are in view points.
class Loupe : public QObject
{
    Q_OBJECT

public:
    /// Hands what is to be magnified on to the function that it is given, at once or as soon as it
    /// is known; never where there is nothing.
    using FindSubject = std::function<void(const std::function<void(const LoupeSubject &)> &)>;

    /// @p findSubject is called when the mouse is pressed.
    Loupe(Screen &screen, Labels &labels, BackgroundQueue &loadQueue, const PictureReader &reader,
          FindSubject findSubject)
        : m_screen(screen), m_labels(labels), m_loadQueue(loadQueue), m_reader(reader),
          m_findSubject(std::move(findSubject))
    {}

    /// Shows the picture at 100 %, the point of it under @p position staying there; if it has to
    /// be waited for, as if that had been done at once.
    void zoomBegin(QPointF position);
    /// Moves it along with the pointer, one to one.
    void zoomDrag(QPointF position);
    /// Returns to the fitted picture.
    void zoomEnd();
    /// The same where another picture takes the place of the one that is magnified.
    void pictureArrived();
    [[nodiscard]] bool isZooming() const { return m_zooming; }

    /// Forgets the full picture that was asked for: it belongs to a different picture.
    void dropFullImage();

private:
    void magnify(const LoupeSubject &subject, QPointF position);
    void leavePicture();

    Screen &m_screen;
    Labels &m_labels;
    BackgroundQueue &m_loadQueue;
    const PictureReader &m_reader;
    FindSubject m_findSubject;
    int m_gesture = 0; // raised by each press and release
    bool m_zooming = false;
    QPointF m_zoomLastP;
    int m_zoomLoadToken = 0;          // raised by whatever makes a full picture unwanted
    std::stop_source m_fullImageLoad; // ends the decode that was asked for last
};

} // namespace tavolin
