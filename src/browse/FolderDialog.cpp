#include "browse/FolderDialog.h"

#include "browse/Browser.h"
#include "platform/Background.h"
#include "screen/Loupe.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTimer>

#include <chrono>
#include <system_error>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace tavolin {

namespace {

/// For the open folder to answer: a disk that spins up takes longer, and so much is hardly noticed.
constexpr auto ANSWER_TIME = 300ms;

} // namespace

FolderDialog::FolderDialog(Browser &browser, Loupe &loupe, BackgroundQueue &listQueue,
                           QWidget &view)
    : m_browser(browser), m_loupe(loupe), m_listQueue(listQueue), m_view(view)
{
    QCoreApplication::installTranslator(&m_texts);
}

void FolderDialog::openDialog()
{
    // A held key asks again before the dialog has the keyboard.
    if (m_dialog || m_isAsking)
        return;
    if (m_browser.imageList().empty()) {
        show(std::nullopt);
        return;
    }
    m_isAsking = true;
    const auto folder = m_browser.imageList().front().parent_path();
    ask(folder, [this, folder](bool isThere) {
        m_isAsking = false;
        show(isThere ? std::optional(folder) : std::nullopt);
    });
}

void FolderDialog::ask(const std::filesystem::path &folder, const std::function<void(bool)> &use)
{
    // Stopped by whatever is first: the answer, or the end of the time for it.
    std::stop_source asking;
    m_listQueue.run<bool>(this,
                          {
                              .work =
                                  [folder](const std::stop_token &stop) {
                                      std::error_code error;
                                      return !stop.stop_requested() &&
                                             std::filesystem::is_directory(folder, error);
                                  },
                              .use =
                                  [asking, use](bool isThere) mutable {
                                      if (asking.request_stop())
                                          use(isThere);
                                  },
                          },
                          asking);
    QTimer::singleShot(ANSWER_TIME, this, [this, asking, use]() mutable {
        if (!asking.request_stop())
            return;
        m_listQueue.leaveBehindUnlessEnded(0ms);
        use(false);
    });
}

void FolderDialog::show(const std::optional<std::filesystem::path> &folder)
{
    m_loupe.zoomEnd(); // the dialog would keep the release of the mouse from us
    // Without a folder it would begin by looking at the working directory, which may not answer.
    const QString begin = folder ? QFile::decodeName(folder->c_str()) : QDir::homePath();
    auto *dialog = new QFileDialog(m_view.window(), u"เปิดโฟลเดอร์"_s, begin);
    m_dialog = dialog;
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    dialog->setLabelText(QFileDialog::Accept, u"เปิด"_s);
    dialog->setLabelText(QFileDialog::Reject, u"ยกเลิก"_s);
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString &chosen) {
        m_browser.openFolder(QFile::encodeName(chosen).toStdString(), std::nullopt);
    });
    connect(dialog, &QDialog::finished, this, [this] { m_view.setFocus(); });
    dialog->open();
}

} // namespace tavolin
