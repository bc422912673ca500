#include "e2e/WatchedFolder.h"

#include "e2e/WaitUntil.h"

#include <QString>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <utility>

namespace tavolin {

using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

namespace {

/// Puts a file with @p content at @p path, whole at once: the viewer may look at any moment.
void place(const fs::path &path, const std::string &content)
{
    const fs::path unfinished = path.native() + ".new";
    std::ofstream(unfinished) << content;
    fs::rename(unfinished, path);
}

} // namespace

WatchedFolder::WatchedFolder(fs::path folder) : m_folder(std::move(folder)) {}

fs::path WatchedFolder::control(const char *name) const
{
    return fs::path(m_control.path().toStdString()) / name;
}

QProcessEnvironment WatchedFolder::environment() const
{
    QProcessEnvironment result;
    result.insert(u"LD_PRELOAD"_s, QStringLiteral(TAVOLIN_FOLDER_CALLS));
    result.insert(u"TAVOLIN_CALLS_FOLDER"_s, QString::fromStdString(m_folder.native()));
    result.insert(u"TAVOLIN_CALLS_CONTROL"_s, m_control.path());
    // The address sanitizer wants to be the first library, which does not matter here.
    result.insert(u"ASAN_OPTIONS"_s,
                  qEnvironmentVariable("ASAN_OPTIONS") + u":verify_asan_link_order=0"_s);
    return result;
}

void WatchedFolder::delay(std::chrono::milliseconds time) const
{
    place(control("delay"), std::to_string(time.count()));
}

void WatchedFolder::hang(const std::vector<std::string> &names) const
{
    m_hanging = names;
    m_callsBefore = calls().size();
    std::string lines;
    for (const std::string &name : names)
        lines += name + '\n';
    place(control("hang"), lines);
}

void WatchedFolder::release() const
{
    fs::remove(control("hang"));
}

std::vector<FolderCall> WatchedFolder::calls() const
{
    std::vector<FolderCall> calls;
    std::ifstream log(control("log"));
    for (std::string line; std::getline(log, line);) {
        std::istringstream fields(line);
        std::string thread;
        FolderCall call;
        fields >> thread >> call.name;
        std::string path;
        std::getline(fields.ignore(1), path);
        call.isOnMainThread = thread == "main";
        call.path = path;
        calls.push_back(call);
    }
    return calls;
}

std::string WatchedFolder::callsOnMainThread() const
{
    std::string lines;
    for (const FolderCall &call : calls())
        if (call.isOnMainThread)
            lines += call.name + ' ' + call.path.native() + '\n';
    return lines;
}

void WatchedFolder::forgetCalls() const
{
    fs::resize_file(control("log"), 0);
    m_callsBefore = 0;
}

bool WatchedFolder::waitUntilStuck() const
{
    return waitUntil([this] {
        const auto now = calls();
        const auto first = now.begin() + static_cast<std::ptrdiff_t>(m_callsBefore);
        return std::any_of(first, now.end(), [this](const FolderCall &call) {
            return m_hanging.empty() ||
                   std::ranges::find(m_hanging, call.name) != m_hanging.end() ||
                   std::ranges::find(m_hanging, call.path.filename().native()) != m_hanging.end();
        });
    });
}

} // namespace tavolin
