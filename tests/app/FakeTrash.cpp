#include "app/FakeTrash.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace tavolin::test {

namespace fs = std::filesystem;

FakeTrash::FakeTrash(fs::path folder) : m_folder(std::move(folder))
{
    fs::create_directories(m_folder);
}

FileWork::Trash FakeTrash::trash()
{
    return [this](const fs::path &file) { return move(file); };
}

void FakeTrash::closeGate()
{
    const std::lock_guard lock(m_mutex);
    m_isGateClosed = true;
}

void FakeTrash::openGate()
{
    const std::lock_guard lock(m_mutex);
    m_isGateClosed = false;
    m_changed.notify_all();
}

void FakeTrash::failWith(const QString &reason)
{
    const std::lock_guard lock(m_mutex);
    m_failure = reason;
}

std::vector<std::string> FakeTrash::asked() const
{
    const std::lock_guard lock(m_mutex);
    return m_asked;
}

std::vector<std::string> FakeTrash::files() const
{
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator(m_folder))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

Failure FakeTrash::move(const fs::path &file)
{
    std::unique_lock lock(m_mutex);
    m_asked.push_back(file.filename());
    m_changed.wait(lock, [this] { return !m_isGateClosed; });
    if (m_failure)
        return m_failure;
    std::error_code error;
    fs::rename(file, m_folder / file.filename(), error);
    return error ? Failure(QString::fromStdString(error.message())) : Failure();
}

} // namespace tavolin::test
