#include "fileops/FileJobs.h"

#include <QMetaObject>

#include <algorithm>
#include <system_error>
#include <utility>

namespace tavolin {

namespace {

bool isDeletion(const FileJob &job)
{
    return job.kind == FileJobKind::Deletion;
}

bool isSame(const FileJob &a, const FileJob &b)
{
    return a.kind == b.kind && a.file == b.file && a.edited.isSameAs(b.edited);
}

/// As debuggers show it.
const char *threadName(FileJobKind kind)
{
    switch (kind) {
    case FileJobKind::Pick:
        return "pick";
    case FileJobKind::Save:
        return "save";
    case FileJobKind::Deletion:
        return "trash";
    }
    return "";
}

} // namespace

bool waitsFor(const FileJob &later, const FileJob &earlier)
{
    return later.file == earlier.file || (isDeletion(later) == isDeletion(earlier) &&
                                          later.file.parent_path() == earlier.file.parent_path());
}

FileJobs::FileJobs(Mailbox &mailbox)
    : m_mailbox(mailbox), m_lastProgress(std::make_shared<std::atomic<Clock::rep>>(0))
{}

FileJobs::~FileJobs() = default;

void FileJobs::add(FileJob job)
{
    const auto isThat = [&job](const Entry &entry) { return isSame(entry.job, job); };
    if (std::ranges::any_of(m_entries, isThat))
        return;
    m_entries.push_back({std::move(job), Clock::now()});
    startWhatMay();
}

bool FileJobs::isSaving(const Image &edited) const
{
    return std::ranges::any_of(m_entries, [&edited](const Entry &entry) {
        return entry.job.kind == FileJobKind::Save && entry.job.edited.isSameAs(edited);
    });
}

bool FileJobs::isSaving() const
{
    return std::ranges::any_of(
        m_entries, [](const Entry &entry) { return entry.job.kind == FileJobKind::Save; });
}

FileJobs::Clock::time_point FileJobs::lastProgress() const
{
    return Clock::time_point(Clock::duration(*m_lastProgress));
}

void FileJobs::startWhatMay()
{
    for (auto entry = m_entries.begin(); entry != m_entries.end(); ++entry) {
        const auto holdsUp = [&entry](const Entry &earlier) {
            return waitsFor(entry->job, earlier.job);
        };
        if (!entry->hasBegun && std::none_of(m_entries.begin(), entry, holdsUp))
            start(entry);
    }
}

void FileJobs::start(Entries::iterator entry)
{
    entry->hasBegun = true;
    try {
        entry->thread = std::make_unique<BackgroundQueue>(threadName(entry->job.kind),
                                                          QualityOfService::UserInitiated,
                                                          m_mailbox, WaitingJobs::Run);
    } catch (const std::system_error &error) { // no more threads
        const auto isNotBegun = [this, entry, failure = failureOf(error.code())] {
            end(entry, failure);
        };
        QMetaObject::invokeMethod(this, isNotBegun, Qt::QueuedConnection);
        return;
    }
    // No answer means that memory did not suffice.
    entry->thread->run<std::optional<Failure>>(
        this, {
                  .work =
                      [work = entry->job.work, last = m_lastProgress](const std::stop_token &) {
                          return work([last] { *last = Clock::now().time_since_epoch().count(); });
                      },
                  .use =
                      [this, entry](const std::optional<Failure> &answer) {
                          const auto noMemory = std::make_error_code(std::errc::not_enough_memory);
                          end(entry, answer.value_or(failureOf(noMemory)));
                      },
              });
}

void FileJobs::end(Entries::iterator entry, const Failure &failure)
{
    *m_lastProgress = Clock::now().time_since_epoch().count();
    const auto finished = std::move(entry->job.finished);
    m_entries.erase(entry); // its thread has nothing left to do
    startWhatMay();
    finished(failure);
}

} // namespace tavolin
