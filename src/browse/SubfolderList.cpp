#include "browse/SubfolderList.h"

#include "browse/InfoLine.h"
#include "browse/Subfolders.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace tavolin {

SubfolderList::SubfolderList(const QIcon &icon, QObject *parent)
    : QAbstractListModel(parent), m_icon(icon)
{}

void SubfolderList::showNames(std::shared_ptr<const Subfolders> folders)
{
    beginResetModel();
    m_folders = std::move(folders);
    m_note.clear();
    endResetModel();
}

void SubfolderList::showNote(const QString &note)
{
    beginResetModel();
    m_folders.reset();
    m_note = note;
    endResetModel();
}

std::optional<std::string> SubfolderList::nameAt(const QModelIndex &index) const
{
    return m_folders && index.isValid()
               ? std::optional(m_folders->names[static_cast<std::size_t>(index.row())])
               : std::nullopt;
}

QModelIndex SubfolderList::indexOf(const std::string &name) const
{
    if (!m_folders)
        return {};
    const auto found = std::ranges::find(m_folders->names, name);
    return found == m_folders->names.end()
               ? QModelIndex()
               : index(static_cast<int>(found - m_folders->names.begin()));
}

int SubfolderList::rowCount(const QModelIndex &parent) const
{
    if (parent.isValid())
        return 0;
    return m_folders ? static_cast<int>(m_folders->names.size()) : m_note.isEmpty() ? 0 : 1;
}

QVariant SubfolderList::data(const QModelIndex &index, int role) const
{
    const auto name = nameAt(index);
    if (role == Qt::DisplayRole)
        return name ? displayName(*name) : m_note;
    if (role == Qt::DecorationRole && name)
        return m_icon;
    return {};
}

Qt::ItemFlags SubfolderList::flags(const QModelIndex &index) const
{
    return nameAt(index) ? QAbstractListModel::flags(index) : Qt::NoItemFlags;
}

} // namespace tavolin
