#pragma once
// Pictures that say about themselves how they should look: which one they are, which way is up and
// how they were stored. Coordinates are upright pixels, y downward. Text is drawn, so an
// application object (QGuiApplication, offscreen will do) must exist; any thread.

#include <QImage>
#include <QSize>

#include <optional>

namespace tavolin::pictures {

struct PictureSpec
{
    QSize size;          ///< Upright pixels; at least 160 wide, no wider than 5 times the height.
    int index = 1;       ///< From 1 to 65535; printed big and as the index bar.
    int count = 1;       ///< How many pictures there are; the hues are spread over them.
    int orientation = 1; ///< EXIF 1 to 8: how a file stores it, printed as "EXIF n".
    quint32 seed = 0;
    bool detailed = true; ///< Grain like a photograph's; without it a soft background.
};

/// The picture as it should be seen (Format_RGB32). Patches of an eighth of the width by an eighth
/// of the height fill the corners: pure red at the top left, green at the top right, blue at the
/// bottom left, yellow at the bottom right. In the middle, from the top: an arrow and the Thai word
/// for "up", the index, size and orientation. Below, an index bar for readIndex: 16 square cells,
/// black for 0 and white for 1, most significant bit first, each a 40th of the width; the bar's
/// centre is in the middle of the width and at 7/8 of the height, and a grey margin of half a cell
/// surrounds it.
[[nodiscard]] QImage drawPicture(const PictureSpec &spec);

/// A picture of @p size (Format_RGB32) with a colour in each quarter: red at the top left, green at
/// the top right, blue at the bottom left, yellow at the bottom right. Needs no application object.
[[nodiscard]] QImage fourQuarters(QSize size);

/// The index that the upright picture @p shown says it has, at any size from 160 pixels wide.
/// Empty when a cell is neither nearly black nor nearly white: not one of these pictures, not
/// upright, or cut.
[[nodiscard]] std::optional<int> readIndex(const QImage &shown);

/// The pixels to store with EXIF @p orientation (1 to 8) so that @p upright is seen; at 1, and for
/// any other number, the picture itself.
[[nodiscard]] QImage storedFor(const QImage &upright, int orientation);

} // namespace tavolin::pictures
