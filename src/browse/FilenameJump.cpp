#include "browse/FilenameJump.h"

#include "browse/Browser.h"
#include "browse/SearchField.h"

#include <utility>

namespace tavolin {

void FilenameJump::openSearch()
{
    if (m_searchField)
        return;
    prepareSearch();
    m_searchField = new SearchField(&m_view);
    connect(m_searchField, &QLineEdit::textChanged, this, &FilenameJump::searchTextChanged);
    connect(m_searchField, &SearchField::closed, this, &FilenameJump::closeSearch);
    layout();
    m_searchField->show();
    m_searchField->setFocus();
}

void FilenameJump::prepareSearch()
{
    m_names.emplace(m_browser.imageList());
    m_generation = m_browser.generation();
}

void FilenameJump::searchTextChanged(const QString &text)
{
    if (!m_searchField)
        return;
    if (m_generation != m_browser.generation())
        prepareSearch();
    if (const auto index = m_names->firstMatch(text))
        m_browser.jumpTo(*index);
}

void FilenameJump::closeSearch()
{
    if (SearchField *field = std::exchange(m_searchField, nullptr)) {
        field->hide();
        field->deleteLater();
    }
    m_names.reset();
    m_view.setFocus();
}

void FilenameJump::restoreFocus()
{
    if (m_searchField)
        m_searchField->setFocus();
    else
        m_view.setFocus();
}

void FilenameJump::layout()
{
    if (m_searchField)
        m_searchField->place(m_view.size());
}

} // namespace tavolin
