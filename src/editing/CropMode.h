#pragma once
// Crop mode: a box over the picture, and an angle. Applying them works on the full picture, in the
// background.

#include "editing/CropRatio.h"
#include "pixels/DisplayPicture.h"
#include "platform/KeyCodes.h"

#include <QObject>
#include <QRectF>
#include <QSizeF>

#include <optional>

class QWidget;

namespace tavolin {

class Browser;
class CropBar;
class CropOverlayView;
class Editor;
class FilenameJump;
class Labels;
class Loupe;
class Screen;

/// Who crop mode works with; all outlive it.
struct CropNeighbors
{
    QWidget &view; ///< Holds the box and the bar, and dialogs in its window.
    Screen &screen;
    Labels &labels;
    Loupe &loupe;
    Browser &browser;
    FilenameJump &search;
    Editor &editor;
};

/// Owns the box, the bar and the angle, and what was on screen before. Crop mode is on while
/// Screen::isCropping().
class CropMode : public QObject
{
    Q_OBJECT

public:
    explicit CropMode(const CropNeighbors &neighbors);

    /// Lays a crop box over the picture on screen, when the undos under way have ended; does
    /// nothing without a picture. Where its size has to be read first it is done then, unless the
    /// user has moved on.
    void enterCrop();
    /// Takes the box away; nothing is recorded but a crop that is being applied. Does nothing
    /// outside crop mode.
    void exitCrop();
    /// Rotates and crops the full picture in the background, then leaves crop mode. Counts until
    /// the picture or its edits change.
    void applyCrop();

    /// The commands of the crop bar, in crop mode only.
    void cropBarRatio(RatioPreset preset);
    void cropBarCustom();
    void cropBarFlip();
    void cropBarAngleReset();
    /// Turns the picture by @p step degrees more, clockwise, up to the limits.
    void turnBy(double step);
    /// Moves the box by an arrow key, or resizes it if @p shift is held.
    void nudge(KeyCode arrow, bool shift);

    /// Turns the picture to @p angle, in degrees clockwise; in crop mode only.
    void setCropAngle(double angle);
    /// The box; null outside crop mode.
    [[nodiscard]] CropOverlayView *cropOverlay() const { return m_cropOverlay; }
    /// The upper edge of the bar in the view; empty outside crop mode.
    [[nodiscard]] std::optional<int> cropBarTop() const;
    /// Puts box and bar at their places for the view's current size.
    void layout();
    /// Pixels of the picture that a crop cuts for each view point; empty while unknown.
    [[nodiscard]] std::optional<double> imagePixelScale() const;

Q_SIGNALS:
    /// Box and bar have been put over the picture.
    void entered();
    /// It has ended without a crop: what was there before is shown again.
    void cancelled();

private:
    [[nodiscard]] bool canEnter() const;
    void enterAfterUndos();
    void beginCrop();
    void findFullSize();
    void buildOverlay();
    void buildCropBar();
    void endCrop();
    void editLayoutChanged();
    void recolor(const DisplayPicture &base);
    void updateCropRotation();
    void updateCropBar();
    [[nodiscard]] const Image &previewBase();
    [[nodiscard]] double neededPreviewScale() const;
    [[nodiscard]] std::optional<QSizeF> appliedSize() const;
    [[nodiscard]] std::optional<QSizeF> cropWorkingSize() const;

    CropNeighbors m_with;
    // Both while in crop mode, and the view's.
    CropOverlayView *m_cropOverlay = nullptr;
    CropBar *m_cropBar = nullptr;
    double m_cropAngle = 0;
    DisplayPicture m_cropBase; // what was on screen, before any rotation
    Image m_previewBase;       // its image, no larger than rotating it for the screen needs
    double m_previewScale = 0; // its size relative to that image
    // Of a raw file, whose headers tell of the raw picture, while what is cut is its preview.
    bool m_isFullSizeAwaited = false;
    std::optional<QSize> m_fullSize;
};

} // namespace tavolin
