#include "browse/FolderChooser.h"

#include "browse/Subfolders.h"
#include "platform/Background.h"
#include "platform/MountedMedia.h"
#include "screen/DarkPalette.h"

#include <QBoxLayout>
#include <QDialogButtonBox>
#include <QKeyEvent>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QScrollBar>
#include <QShortcut>
#include <QStandardPaths>
#include <QToolButton>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <system_error>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace tavolin {

namespace {

/// For a folder to be read: a disk that spins up takes longer, and so much is hardly noticed.
constexpr auto ANSWER_TIME = 300ms;

// All in points.
constexpr QSize SIZE(740, 450);
constexpr int PLACES_WIDTH = 170;
constexpr int ICON_SIZE = 22; // with what it keeps free around

constexpr QColor ICON_COLOR{0, 180, 217};

/// A folder, drawn here so that no theme has to be looked for on a disk.
QIcon folderIcon()
{
    constexpr int SCALE = 4; // fine enough for any screen
    QPixmap pixmap(ICON_SIZE * SCALE, ICON_SIZE * SCALE);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(SCALE, SCALE);
    painter.setPen(Qt::NoPen);
    painter.setBrush(ICON_COLOR);
    painter.drawRoundedRect(QRectF(3, 4.5, 8, 6), 1.5, 1.5);
    painter.drawRoundedRect(QRectF(3, 6.5, 16, 11), 1.5, 1.5);
    painter.end();
    QIcon icon(pixmap);
    icon.addPixmap(pixmap, QIcon::Selected); // the style would tint it
    return icon;
}

std::filesystem::path homeFolder()
{
    const char *home = std::getenv("HOME");
    return home && *home == '/' ? home : "/";
}

/// The desktop's folder for pictures; none where that is not there.
std::optional<std::filesystem::path> picturesFolder(const std::stop_token &stop)
{
    if (stop.stop_requested())
        return std::nullopt;
    const std::filesystem::path folder =
        QStandardPaths::writableLocation(QStandardPaths::PicturesLocation).toStdString();
    return isFolder(folder) ? std::optional(folder) : std::nullopt;
}

/// What is said in place of names.
QString failureText(const std::error_code &error)
{
    const bool isNowhere =
        error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory;
    return isNowhere ? u"ไม่พบโฟลเดอร์นี้"_s : u"อ่านโฟลเดอร์นี้ไม่ได้"_s;
}

/// @p listed, which may be large, for several to hold; null where there is nothing.
std::shared_ptr<const Subfolders> shared(std::optional<Subfolders> listed)
{
    return listed ? std::make_shared<const Subfolders>(std::move(*listed)) : nullptr;
}

bool isReturn(const QKeyEvent &event)
{
    return event.key() == Qt::Key_Return || event.key() == Qt::Key_Enter;
}

} // namespace

FolderChooser::FolderChooser(BackgroundQueue &queue, QWidget *parent)
    : QDialog(parent), m_queue(queue), m_home(homeFolder()), m_subfolders(folderIcon())
{
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(u"เปิดโฟลเดอร์"_s);
    setPalette(darkPalette());
    resize(SIZE);
    m_patience.setSingleShot(true);
    connect(&m_patience, &QTimer::timeout, this, &FolderChooser::becomeLate);

    m_upButton = new QToolButton(this);
    m_upButton->setText(u"↑"_s);
    m_upButton->setAccessibleName(u"โฟลเดอร์แม่"_s);
    m_upButton->setToolTip(u"ไปที่โฟลเดอร์แม่"_s);
    m_upButton->setFocusPolicy(Qt::NoFocus); // the keyboard has other ways
    connect(m_upButton, &QToolButton::clicked, this, &FolderChooser::goUp);
    connect(new QShortcut(Qt::ALT | Qt::Key_Up, this), &QShortcut::activated, this,
            &FolderChooser::goUp);

    m_field = new QLineEdit(this);
    m_field->setAccessibleName(u"โฟลเดอร์:"_s);
    m_field->installEventFilter(this);

    m_placeList = new QListWidget(this);
    m_placeList->setAccessibleName(u"ตำแหน่ง"_s);
    m_placeList->setFixedWidth(PLACES_WIDTH);
    m_placeList->installEventFilter(this);
    connect(m_placeList, &QListWidget::clicked, this,
            [this](const QModelIndex &index) { goToPlace(index.row()); });

    m_list = new QListView(this);
    m_list->setAccessibleName(u"โฟลเดอร์ย่อย"_s);
    m_list->setModel(&m_subfolders);
    m_list->setUniformItemSizes(true); // there may be very many
    m_list->setEditTriggers(QListView::NoEditTriggers);
    m_list->installEventFilter(this);
    m_list->viewport()->installEventFilter(this);
    connect(m_list, &QListView::doubleClicked, this, &FolderChooser::enter);

    // What is selected there says where the user is, and not what is opened.
    QPalette faint = palette();
    faint.setColor(QPalette::Highlight, faint.color(QPalette::Disabled, QPalette::Highlight));
    m_placeList->setPalette(faint);
    for (QListView *list : {static_cast<QListView *>(m_placeList), m_list}) {
        list->setTextElideMode(Qt::ElideMiddle);
        list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        list->setIconSize({ICON_SIZE, ICON_SIZE});
    }
    // One answer at a time is in sight: what is selected, or what is written.
    connect(m_list->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
        if (selectedName())
            m_field->setText(pathText(m_shown));
    });
    connect(m_field, &QLineEdit::textEdited, this, [this] {
        m_list->setCurrentIndex({});
        m_openButton->setEnabled(true);
    });

    auto *buttons = new QDialogButtonBox(this);
    m_openButton = buttons->addButton(u"เปิด"_s, QDialogButtonBox::AcceptRole);
    m_openButton->setDefault(true);
    buttons->addButton(u"ยกเลิก"_s, QDialogButtonBox::RejectRole);
    connect(buttons, &QDialogButtonBox::accepted, this, &FolderChooser::openChosen);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto *path = new QHBoxLayout;
    path->addWidget(m_upButton);
    path->addWidget(m_field);
    auto *lists = new QHBoxLayout;
    lists->addWidget(m_placeList);
    lists->addWidget(m_list);
    auto *column = new QVBoxLayout(this);
    column->addLayout(path);
    column->addLayout(lists);
    column->addWidget(buttons);
    m_list->setFocus();
}

void FolderChooser::begin(const std::optional<std::filesystem::path> &folder)
{
    askForMedia();
    showPlaces();
    if (!folder) {
        goTo(m_home);
        becomeReady();
        return;
    }
    m_patience.start(ANSWER_TIME);
    read<bool>(
        [folder = *folder](const std::stop_token &stop) {
            return !stop.stop_requested() && isFolder(folder);
        },
        [this, folder = *folder](bool isThere) {
            goTo(isThere ? folder : m_home);
            becomeReady();
        });
}

template <typename Result>
void FolderChooser::read(std::function<Result(const std::stop_token &)> work,
                         std::function<void(const Result &)> use)
{
    m_queue.run<Result>(this,
                        {
                            .work = std::move(work),
                            .stillApplies = [stop = m_reading] { return !stop.stop_requested(); },
                            .use = std::move(use),
                        },
                        m_reading);
}

void FolderChooser::done(int result)
{
    m_askingForPictures.request_stop();
    stopReading();
    QDialog::done(result);
}

bool FolderChooser::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_list->viewport() && event->type() == QEvent::MouseButtonPress) {
        // Newer versions of Qt leave selected what was, wherever the click goes.
        const auto *click = static_cast<QMouseEvent *>(event);
        if (!m_list->indexAt(click->position().toPoint()).isValid())
            m_list->clearSelection();
        return false;
    }
    if (event->type() != QEvent::KeyPress)
        return QDialog::eventFilter(watched, event);
    const auto *key = static_cast<QKeyEvent *>(event);
    // Held, it does nothing more than once: it could open what it has entered.
    if (isReturn(*key) && m_return.isRepeat(key->isAutoRepeat()))
        return true;
    if (watched == m_list)
        return takesListKey(*key);
    if (!isReturn(*key)) // which would press the open button
        return false;
    if (watched == m_field)
        goToTyped();
    else
        goToPlace(m_placeList->currentRow());
    return true;
}

bool FolderChooser::takesListKey(const QKeyEvent &event)
{
    const QString text = event.text();
    if (isReturn(event)) {
        enterOrOpen();
    } else if (event.key() == Qt::Key_Backspace) {
        goUp();
    } else if (event.key() == Qt::Key_End) { // the first time, too
        m_list->setCurrentIndex(m_subfolders.index(m_subfolders.rowCount() - 1));
    } else if (text == u"/"_s || text == u"~"_s) {
        m_field->setFocus();
        m_field->clear();
        m_field->insert(text);
    } else {
        // The key that opened the dialog may still be held, and selects nothing.
        return !text.isEmpty() && text[0].isPrint() && m_letter.isRepeat(event.isAutoRepeat());
    }
    return true;
}

void FolderChooser::goTo(const std::filesystem::path &folder, const std::string &selected)
{
    stopReading();
    m_shown = folder;
    m_toSelect = selected;
    m_subfolders.showNote({});
    m_field->setText(pathText(folder));
    m_upButton->setEnabled(folder.has_relative_path());
    m_openButton->setEnabled(true);
    markPlace();
    m_patience.start(ANSWER_TIME);
    read<Listing>(
        [folder](const std::stop_token &stop) { return shared(listSubfolders(folder, stop)); },
        [this](const Listing &listing) { take(listing); });
}

void FolderChooser::goToTyped()
{
    goTo(typed());
    m_list->setFocus();
}

void FolderChooser::goUp()
{
    if (m_shown.has_relative_path())
        goTo(m_shown.parent_path(), m_shown.filename());
}

void FolderChooser::goToPlace(int row)
{
    if (row < 0)
        return;
    goTo(m_places[static_cast<std::size_t>(row)].folder);
    m_list->setFocus();
}

void FolderChooser::enter(const QModelIndex &index)
{
    if (const auto name = m_subfolders.nameAt(index))
        goTo(m_shown / *name);
}

void FolderChooser::enterOrOpen()
{
    if (const auto name = selectedName())
        goTo(m_shown / *name);
    else if (m_openButton->isEnabled())
        openChosen();
}

void FolderChooser::openChosen()
{
    const auto name = selectedName();
    const auto folder = name ? m_shown / *name : typed();
    accept();
    Q_EMIT chosen(folder);
}

std::optional<std::string> FolderChooser::selectedName() const
{
    const auto selected = m_list->selectionModel()->selectedIndexes();
    return selected.empty() ? std::nullopt : m_subfolders.nameAt(selected.front());
}

std::filesystem::path FolderChooser::typed() const
{
    return typedFolder(m_field->text(), m_shown, m_home);
}

void FolderChooser::stopReading()
{
    m_patience.stop();
    std::exchange(m_reading, std::stop_source()).request_stop();
    m_queue.leaveBehindUnlessEnded(0ms);
}

void FolderChooser::becomeLate()
{
    if (m_isReady) {
        m_subfolders.showNote(u"กำลังอ่าน..."_s);
        return;
    }
    goTo(m_home);
    becomeReady();
}

void FolderChooser::take(const Listing &listing)
{
    m_patience.stop();
    if (!listing || listing->error) {
        m_subfolders.showNote(failureText(listing ? listing->error : std::error_code()));
        m_openButton->setEnabled(m_field->isModified());
        return;
    }
    showNames(listing, m_toSelect);
    if (selectedName())
        m_toSelect.clear();
    if (!listing->links.empty())
        lookBehindLinks(listing);
    if (!std::exchange(m_hasAskedForPictures, true))
        askForPictures();
}

void FolderChooser::lookBehindLinks(const Listing &listing)
{
    if (listing->names.empty())
        m_patience.start(ANSWER_TIME);
    read<Listing>(
        [folder = m_shown, listing](const std::stop_token &stop) {
            return shared(withLinks(folder, *listing, stop));
        },
        [this](const Listing &all) {
            m_patience.stop();
            if (all)
                showNames(all, selectedName().value_or(m_toSelect));
        });
}

void FolderChooser::showNames(const Listing &listing, const std::string &selected)
{
    if (!listing->names.empty()) {
        const int scrolled = m_list->verticalScrollBar()->value();
        m_subfolders.showNames(listing);
        m_list->verticalScrollBar()->setValue(scrolled);
    } else if (listing->links.empty()) {
        m_subfolders.showNote(u"ไม่มีโฟลเดอร์ย่อย"_s);
    }
    // Also where that is none: else the list would make the first one current when it gets the
    // keyboard, and the arrow down would select the second.
    m_list->setCurrentIndex(m_field->isModified() ? QModelIndex() : m_subfolders.indexOf(selected));
}

void FolderChooser::becomeReady()
{
    if (!std::exchange(m_isReady, true))
        Q_EMIT ready();
}

void FolderChooser::askForMedia()
{
    BackgroundWork<std::vector<std::filesystem::path>> asking{
        .work = [](const std::stop_token &) { return mountedMedia(); },
        .use =
            [this](const auto &media) {
                m_media = media;
                showPlaces();
            },
    };
    m_queue.run(this, std::move(asking));
}

void FolderChooser::askForPictures()
{
    BackgroundWork<std::optional<std::filesystem::path>> asking{
        .work = picturesFolder,
        .use =
            [this](const auto &pictures) {
                m_pictures = pictures;
                showPlaces();
            },
    };
    m_queue.run(this, std::move(asking), m_askingForPictures);
    // What the user wants to see must not wait for it.
    QTimer::singleShot(ANSWER_TIME, this, [this] {
        m_askingForPictures.request_stop();
        m_queue.leaveBehindUnlessEnded(0ms);
    });
}

void FolderChooser::showPlaces()
{
    m_places = placesOf(m_home, m_pictures, m_media);
    m_placeList->clear();
    for (const Place &place : m_places)
        new QListWidgetItem(folderIcon(), place.name, m_placeList);
    markPlace();
}

void FolderChooser::markPlace()
{
    const auto place = std::ranges::find(m_places, m_shown, &Place::folder);
    m_placeList->setCurrentRow(
        place == m_places.end() ? -1 : static_cast<int>(place - m_places.begin()));
}

} // namespace tavolin
