#pragma once
// The loupe: the picture at 100 % while the mouse is held. What is on screen is stretched at once;
// the full picture takes its place when it has been decoded.

#include "pixels/Image.h"

#include <QObject>
#include <QPointF>
#include <QSize>

#include <filesystem>
#include <functional>
#include <optional>
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
    /// @p subject is asked when the mouse is pressed; nothing when there is nothing to magnify.
    Loupe(Screen &screen, Labels &labels, BackgroundQueue &loadQueue, const PictureReader &reader,
          std::function<std::optional<LoupeSubject>()> subject)
        : m_screen(screen), m_labels(labels), m_loadQueue(loadQueue), m_reader(reader),
          m_subject(std::move(subject))
    {}

    /// Shows the picture at 100 %, the point of it under @p position staying there.
    void zoomBegin(QPointF position);
    /// Moves it along with the pointer, one to one.
    void zoomDrag(QPointF position);
    /// Returns to the fitted picture.
    void zoomEnd();
    [[nodiscard]] bool isZooming() const { return m_zooming; }

    /// Forgets the full picture that was asked for: it belongs to a different picture.
    void dropFullImage();

private:
    Screen &m_screen;
    Labels &m_labels;
    BackgroundQueue &m_loadQueue;
    const PictureReader &m_reader;
    std::function<std::optional<LoupeSubject>()> m_subject;
    bool m_zooming = false;
    QPointF m_zoomLastP;
    int m_zoomLoadToken = 0;          // raised by whatever makes a full picture unwanted
    std::stop_source m_fullImageLoad; // ends the decode that was asked for last
};

} // namespace tavolin
