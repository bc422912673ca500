#pragma once
// The neighbours of the picture on screen, decoded before they are asked for.

#include "pixels/DisplayPicture.h"

#include <QByteArray>
#include <QObject>
#include <QTimer>

#include <cstdint>
#include <map>
#include <stop_token>

namespace tavolin {

class BackgroundQueue;
class Browser;
class PictureReader;
class Screen;

/// Fills the cache of @p browser around its target, a moment after the last picture was shown.
class Prefetch : public QObject
{
    Q_OBJECT

public:
    /// Neighbours on each side that are decoded.
    static constexpr int REACH = 2;

    Prefetch(Browser &browser, const Screen &screen, BackgroundQueue &queue,
             const PictureReader &reader);

Q_SIGNALS:
    /// Nothing more is to be decoded around the target.
    void rested();

private:
    void prefetchNeighbors();
    void prefetchFinished(const DisplayPicture &picture, int index,
                          const std::stop_source &prefetch);
    void dropOtherColors();
    void tellIfRested();
    void dropFarOnes();
    void followList();

    Browser &m_browser;
    const Screen &m_screen;
    BackgroundQueue &m_queue;
    const PictureReader &m_reader;
    QTimer m_prefetchTimer;
    std::uint64_t m_generation = 0;             // of the list that these indices are in
    std::map<int, std::stop_source> m_inflight; // what ends the prefetches under way
    QByteArray m_profile;                       // of the monitor that they are for
};

} // namespace tavolin
