#include "browse/ThumbCache.h"

#include <cstdlib>
#include <utility>

namespace tavolin {

std::optional<DisplayPicture> ThumbCache::get(int index) const
{
    const std::lock_guard guard(m_lock);
    const auto entry = m_store.find(index);
    return entry == m_store.end() ? std::nullopt : std::optional(entry->second);
}

void ThumbCache::set(int index, DisplayPicture picture)
{
    const std::lock_guard guard(m_lock);
    m_store.insert_or_assign(index, std::move(picture));
}

void ThumbCache::evict(int centre)
{
    const std::lock_guard guard(m_lock);
    std::erase_if(m_store,
                  [centre](const auto &entry) { return std::abs(entry.first - centre) > WINDOW; });
}

void ThumbCache::clear()
{
    const std::lock_guard guard(m_lock);
    m_store.clear();
}

int ThumbCache::count() const
{
    const std::lock_guard guard(m_lock);
    return static_cast<int>(m_store.size());
}

} // namespace tavolin
