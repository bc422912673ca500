#pragma once
// The decoded pictures around the current position.

#include "pixels/DisplayPicture.h"

#include <map>
#include <mutex>
#include <optional>

namespace tavolin {

/// Display pictures by their index in the image list. Indices mean something only for the list they
/// were made for, so the owner clears the cache whenever the list changes, and trims it whenever it
/// shows a picture. Safe from any thread.
class ThumbCache
{
public:
    /// How many indices are kept on each side of the centre.
    static constexpr int WINDOW = 3;

    /// The picture of @p index, if it is here.
    [[nodiscard]] std::optional<DisplayPicture> get(int index) const;

    /// Stores @p picture under @p index, in place of an earlier one.
    void set(int index, DisplayPicture picture);

    /// Keeps only the entries within WINDOW of @p centre.
    void evict(int centre);

    /// Removes every entry.
    void clear();

    /// How many entries there are.
    [[nodiscard]] int count() const;

private:
    mutable std::mutex m_lock;
    std::map<int, DisplayPicture> m_store;
};

} // namespace tavolin
