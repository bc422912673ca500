#pragma once
// A viewer whose saves and deletions take as long as the test wants.

#include "app/EditFixture.h"

#include <condition_variable>
#include <functional>
#include <mutex>

namespace tavolin::test {

/// Reads pictures, and the metadata that a save asks for only while its gate is open. Its functions
/// may be called while a save waits.
class SlowMetadataReader : public InProcessReader
{
public:
    [[nodiscard]] std::optional<JpegMetadata> sourceMetadata(const std::filesystem::path &url,
                                                             QSize newSize) const override;

    /// Makes every save wait from now on, until the gate is opened.
    void closeGate();
    void openGate();
    /// How many saves have begun.
    [[nodiscard]] int begun() const;

private:
    mutable std::mutex m_mutex; // guards what follows
    mutable std::condition_variable m_changed;
    bool m_isGateClosed = false;
    mutable int m_begun = 0;
};

class FileWorkFixture : public EditFixture
{
protected:
    FileWorkFixture();
    ~FileWorkFixture() override;

    /// Opens the pictures as a user and crops the first to its left half.
    [[nodiscard]] testing::AssertionResult openAndCrop();
    /// Presses the key for it and waits until a save waits at the gate, which is closed.
    [[nodiscard]] testing::AssertionResult startSave();
    [[nodiscard]] bool isSaved() const { return std::filesystem::exists(pictures / "Edit/0.jpg"); }

    /// Whether the program is still there after @p action, done while the event loop runs.
    [[nodiscard]] bool stays(const std::function<void()> &action) const;

    /// Waits until the picture of one colour that 1.png holds is on screen.
    [[nodiscard]] bool waitForSecond() const;

    SlowMetadataReader slow;
};

inline constexpr auto SAVED = "💾 บันทึกแล้ว → Edit/0.jpg";
inline constexpr auto DELETED = "🗑 ลบแล้ว";
inline constexpr auto PICKED = "✅ Auto Save to HL";
inline constexpr auto WAITING_TO_QUIT = "⏳ กำลังทำงานที่ค้างให้เสร็จก่อนออก... (Esc=ออกทันที)";

} // namespace tavolin::test
