#pragma once
// The neighbours of the picture on screen, decoded before they are asked for; and on a screen with
// more pixels than display images have, renditions that are as sharp as the screen.

#include "pixels/DisplayPicture.h"

#include <QByteArray>
#include <QObject>
#include <QTimer>

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <stop_token>

namespace tavolin {

class BackgroundQueue;
class Browser;
class PictureReader;
class Screen;

/// Fills the cache of @p browser around its target, a moment after the last picture was shown:
/// first the sharp rendition of what is on screen, then its neighbours, and last the sharp
/// renditions of the two next to it. One of these takes the place of a stretched one of its size,
/// so that the cache grows by none.
class Prefetch : public QObject
{
    Q_OBJECT

public:
    /// Neighbours on each side that are decoded.
    static constexpr int REACH = 2;

    Prefetch(Browser &browser, Screen &screen, BackgroundQueue &queue, const PictureReader &reader);

    /// Does the same again after the pause, for a view that has changed.
    void startAgain();
    /// Gives up the sharp rendition that is under way.
    void dropSharpening();

Q_SIGNALS:
    /// Nothing more is to be decoded around the target.
    void rested();

private:
    void prefetchNeighbors();
    void prefetchFinished(const DisplayPicture &picture, int index,
                          const std::stop_source &prefetch);
    /// Begins to decode the picture of @p index for the screen's own pixels, where that shows more
    /// than is there. False where it doesn't, or while another is under way.
    bool sharpen(int index);
    void goOn();
    void dropOtherColors();
    void dropFarOnes();
    void followList();

    Browser &m_browser;
    Screen &m_screen;
    BackgroundQueue &m_queue;
    const PictureReader &m_reader;
    QTimer m_prefetchTimer;
    std::uint64_t m_generation = 0;               // of the list that these indices are in
    std::map<int, std::stop_source> m_inflight;   // what ends the prefetches under way
    std::optional<std::stop_source> m_sharpening; // and the sharp rendition
    std::set<int> m_notSharpened;                 // because they can't be
    QByteArray m_profile;                         // of the monitor that all these are for
};

} // namespace tavolin
