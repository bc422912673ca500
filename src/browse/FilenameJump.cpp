// Jumping to a picture by typing part of its name.

#include "app/Viewer.h"
#include "browse/SearchField.h"
#include "screen/ViewerView.h"

#include <utility>

namespace tavolin {

void Viewer::openSearch()
{
    if (m_search.searchField)
        return;
    prepareSearch();
    m_search.searchField = new SearchField(m_shell.view);
    connect(m_search.searchField, &QLineEdit::textChanged, this, &Viewer::searchTextChanged);
    connect(m_search.searchField, &SearchField::closed, this, &Viewer::closeSearch);
    m_search.searchField->place(m_shell.view->size());
    m_search.searchField->show();
    m_search.searchField->setFocus();
}

void Viewer::prepareSearch()
{
    m_search.names.emplace(m_browse.imageList);
    m_search.generation = m_browse.generation;
}

void Viewer::searchTextChanged(const QString &text)
{
    if (!m_search.searchField)
        return;
    if (m_search.generation != m_browse.generation)
        prepareSearch();
    if (const auto index = m_search.names->firstMatch(text))
        jumpTo(*index);
}

void Viewer::closeSearch()
{
    if (SearchField *field = std::exchange(m_search.searchField, nullptr)) {
        field->hide();
        field->deleteLater();
    }
    m_search.names.reset();
    m_shell.view->setFocus();
}

} // namespace tavolin
