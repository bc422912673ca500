// Opening a folder: the way from a path to a list of pictures.

#include "app/Viewer.h"
#include "browse/ImageList.h"
#include "screen/ViewerView.h"

#include <QFile>
#include <QFileDialog>
#include <QMainWindow>

using namespace Qt::StringLiterals;

namespace tavolin {

void Viewer::openDialog()
{
    if (m_shell.folderDialog) // a held key asks again before the dialog has the keyboard
        return;
    zoomEnd(); // the dialog would keep the release of the mouse from us
    auto *dialog = new QFileDialog(m_shell.window.get());
    m_shell.folderDialog = dialog;
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    dialog->setLabelText(QFileDialog::Accept, u"เปิด"_s);
    dialog->setLabelText(QFileDialog::Reject, u"ยกเลิก"_s);
    if (!m_browse.imageList.empty())
        dialog->setDirectory(QFile::decodeName(m_browse.imageList.front().parent_path().c_str()));
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString &folder) {
        openFolder(QFile::encodeName(folder).toStdString(), std::nullopt);
    });
    connect(dialog, &QDialog::finished, this, [this] { m_shell.view->setFocus(); });
    dialog->open();
}

void Viewer::openPath(const std::filesystem::path &url)
{
    std::error_code error;
    const auto path = std::filesystem::absolute(url, error);
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status))
        return;
    exitCrop();
    if (std::filesystem::is_directory(status))
        openFolder(path, std::nullopt);
    else
        openFolder(path.parent_path(), path.parent_path() / path.filename());
}

void Viewer::openFolder(const std::filesystem::path &folder,
                        const std::optional<std::filesystem::path> &startAt)
{
    auto names = listFolder(folder);
    if (!names) {
        showStatus(u"❌ เปิดโฟลเดอร์ไม่ได้"_s, true);
        return;
    }
    exitCrop(); // it may have been entered behind the dialog
    m_browse.imageList = makeImageList(folder, std::move(*names));
    ++m_browse.opening;
    listChanged();
    m_browse.targetIndex = startIndex(m_browse.imageList, startAt);
    m_browse.currentIndex = m_browse.targetIndex;
    if (m_browse.imageList.empty()) {
        showNothing(u"ไม่พบรูปในโฟลเดอร์นี้ — กด O เปิดใหม่"_s);
        return;
    }
    updateInfoText();
    pumpLoad();
}

void Viewer::listChanged()
{
    ++m_browse.generation;
    m_browse.cache.clear();
    m_prefetch.inflight.clear();
    dropFullImage();
    resetEdits();
}

void Viewer::showNothing(const QString &info)
{
    showInfo(info);
    m_browse.currentThumb = {}; // the loupe's end would bring it back
    m_shell.imageLayer.contents = {};
    m_shell.imageLayer.rendition = {};
    m_shell.view->update();
}

} // namespace tavolin
