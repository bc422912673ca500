#include "browse/FolderDialog.h"

#include "browse/Browser.h"
#include "screen/Loupe.h"

#include <QFile>

using namespace Qt::StringLiterals;

namespace tavolin {

void FolderDialog::openDialog()
{
    if (m_dialog) // a held key asks again before the dialog has the keyboard
        return;
    m_loupe.zoomEnd(); // the dialog would keep the release of the mouse from us
    auto *dialog = new QFileDialog(m_view.window());
    m_dialog = dialog;
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    dialog->setLabelText(QFileDialog::Accept, u"เปิด"_s);
    dialog->setLabelText(QFileDialog::Reject, u"ยกเลิก"_s);
    if (const auto &list = m_browser.imageList(); !list.empty())
        dialog->setDirectory(QFile::decodeName(list.front().parent_path().c_str()));
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString &folder) {
        m_browser.openFolder(QFile::encodeName(folder).toStdString(), std::nullopt);
    });
    connect(dialog, &QDialog::finished, this, [this] { m_view.setFocus(); });
    dialog->open();
}

} // namespace tavolin
