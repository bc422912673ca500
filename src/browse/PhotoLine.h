#pragma once
// The second line: the facts of the picture on screen, read a moment after it has appeared.

#include <QObject>
#include <QTimer>

#include <functional>
#include <stop_token>

namespace tavolin {

class BackgroundQueue;
class Browser;
class Labels;
class PictureReader;
class Screen;

/// Writes the line of details of @p labels whenever @p browser shows a picture.
class PhotoLine : public QObject
{
    Q_OBJECT

public:
    /// @p isEdited tells whether the picture on screen is an edit, whose size is in no file.
    PhotoLine(const Browser &browser, Screen &screen, Labels &labels, BackgroundQueue &queue,
              const PictureReader &reader, std::function<bool()> isEdited);

private:
    void scheduleExif();
    void loadExif();

    const Browser &m_browser;
    Screen &m_screen;
    Labels &m_labels;
    BackgroundQueue &m_queue;
    const PictureReader &m_reader;
    std::function<bool()> m_isEdited;
    QTimer m_exifTimer;
    std::stop_source m_reading; // ends the read under way
};

} // namespace tavolin
