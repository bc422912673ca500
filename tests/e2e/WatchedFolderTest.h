#pragma once
// Tests of a viewer whose folder is watched.

#include "e2e/WatchedFolder.h"

#include <filesystem>
#include <optional>

namespace tavolin {

/// @p Base is ViewerTest or made from it. Its viewer starts with its folder watched.
template <typename Base>
class WatchedFolderTest : public Base
{
protected:
    void SetUp() override
    {
        Base::SetUp();
        if (Base::IsSkipped() || Base::HasFatalFailure())
            return;
        m_watched.emplace(std::filesystem::canonical(this->m_folder.path().toStdString()));
        this->m_additions = m_watched->environment();
    }

    void TearDown() override
    {
        if (m_watched)
            m_watched->release();
        Base::TearDown();
    }

    std::optional<WatchedFolder> m_watched;
};

} // namespace tavolin
