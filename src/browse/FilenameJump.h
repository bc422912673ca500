#pragma once
// Jumping to a picture by typing part of its name.

#include "browse/FileSearch.h"

#include <QObject>

#include <cstdint>
#include <optional>

class QString;
class QWidget;

namespace tavolin {

class Browser;
class SearchField;

/// Owns the search field, which lies in @p view and has the keyboard while it is open.
class FilenameJump : public QObject
{
    Q_OBJECT

public:
    FilenameJump(Browser &browser, QWidget &view) : m_browser(browser), m_view(view) {}

    /// Opens the field and gives it the keyboard; does nothing while it is open.
    void openSearch();
    /// Closes it and gives the keyboard back to the view.
    void closeSearch();
    [[nodiscard]] bool isOpen() const { return m_searchField; }

    /// Gives the keyboard back to its owner: the field while that is open, else the view.
    void restoreFocus();
    /// Puts the field at its place for the view's current size.
    void layout();

private:
    void prepareSearch();
    void searchTextChanged(const QString &text);

    Browser &m_browser;
    QWidget &m_view;
    SearchField *m_searchField = nullptr; // while open; the view's
    std::optional<FileSearch> m_names;    // while open, of the list of this generation
    std::uint64_t m_generation = 0;
};

} // namespace tavolin
