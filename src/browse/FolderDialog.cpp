#include "browse/FolderDialog.h"

#include "browse/Browser.h"
#include "browse/FolderChooser.h"
#include "screen/Loupe.h"

#include <QApplication>

#include <filesystem>
#include <optional>

namespace tavolin {

FolderDialog::FolderDialog(Browser &browser, Loupe &loupe, BackgroundQueue &queue, QWidget &view)
    : m_browser(browser), m_loupe(loupe), m_queue(queue), m_view(view)
{}

void FolderDialog::openDialog()
{
    if (m_chooser) // a held key asks again before the chooser has the keyboard
        return;
    m_chooser = new FolderChooser(m_queue, m_view.window());
    connect(m_chooser, &FolderChooser::ready, this, [this] {
        // Over a question that has been asked since, it would keep that from being answered.
        if (QApplication::activeModalWidget()) {
            m_chooser->reject();
            return;
        }
        m_loupe.zoomEnd(); // the chooser would keep the release of the mouse from us
        m_chooser->open();
    });
    connect(m_chooser, &FolderChooser::chosen, this, [this](const std::filesystem::path &folder) {
        m_browser.openFolder(folder, std::nullopt);
    });
    connect(m_chooser, &QDialog::finished, this, [this] { m_view.setFocus(); });
    const auto &list = m_browser.imageList();
    m_chooser->begin(list.empty() ? std::nullopt : std::optional(list.front().parent_path()));
}

bool FolderDialog::closeDialog()
{
    if (!m_chooser)
        return false;
    m_chooser->reject();
    return true;
}

} // namespace tavolin
