#pragma once
// The neighbours of the picture on screen, decoded before they are asked for.

#include "pixels/DisplayPicture.h"

#include <QObject>
#include <QTimer>

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
    Prefetch(Browser &browser, const Screen &screen, BackgroundQueue &queue,
             const PictureReader &reader);

private:
    void prefetchNeighbors();
    void prefetchFinished(const DisplayPicture &picture, int index);
    void dropFarOnes();
    void dropAll();

    Browser &m_browser;
    const Screen &m_screen;
    BackgroundQueue &m_queue;
    const PictureReader &m_reader;
    QTimer m_prefetchTimer;
    std::map<int, std::stop_source>
        m_inflight; // what ends the prefetches under way, by the index in the present list
};

} // namespace tavolin
