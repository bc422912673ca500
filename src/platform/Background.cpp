#include "platform/Background.h"

#include <QTimer>

#include <algorithm>

namespace tavolin {

using namespace std::chrono_literals;

namespace {

/// For work to end at the end of the program: long enough for whatever heeds a stop, and too short
/// for the user to wonder.
constexpr auto END_PATIENCE = 700ms;

} // namespace

BackgroundQueue::BackgroundQueue(std::string name, QualityOfService qualityOfService,
                                 Mailbox &mailbox, WaitingJobs atTheEnd)
    : m_mailbox(mailbox), m_atTheEnd(atTheEnd), m_queue(std::move(name), qualityOfService, atTheEnd)
{}

BackgroundQueue::~BackgroundQueue()
{
    requestStop();
    if (m_atTheEnd == WaitingJobs::Run || m_queue.hasEndedBy(*m_latestEnd))
        return;
    for (const auto &errand : m_errands)
        errand->isOver = true;
    m_queue.leaveBehind();
}

void BackgroundQueue::requestStop()
{
    if (m_latestEnd)
        return;
    m_latestEnd = std::chrono::steady_clock::now() + END_PATIENCE;
    m_queue.requestStop();
}

void BackgroundQueue::post(const std::shared_ptr<Errand> &errand, SerialQueue::Job job)
{
    while (!m_errands.empty() && m_errands.front()->isOver)
        m_errands.pop_front();
    m_errands.push_back(errand);
    m_queue.post(stoppable(errand->stop, std::move(job)));
}

void BackgroundQueue::leaveBehindUnlessEnded(std::chrono::milliseconds patience)
{
    const auto underWay =
        std::ranges::find_if(m_errands, [](const auto &errand) { return !errand->isOver.load(); });
    if (underWay == m_errands.end() || !(*underWay)->stop.stop_requested())
        return;
    QTimer::singleShot(patience, &m_context, [this, errand = *underWay] { leaveBehind(*errand); });
}

void BackgroundQueue::leaveBehind(Errand &errand)
{
    if (errand.isOver.exchange(true))
        return;
    m_queue.leaveBehind();
    m_mailbox.post(std::exchange(errand.deliver, nullptr));
    // The next one may have been asked to stop, too, and wait for the same disk.
    leaveBehindUnlessEnded(DROP_PATIENCE);
}

} // namespace tavolin
