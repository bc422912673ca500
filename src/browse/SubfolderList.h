#pragma once
// The lines of the folder chooser's list.

#include <QAbstractListModel>
#include <QIcon>
#include <QString>

#include <memory>
#include <optional>
#include <string>

namespace tavolin {

struct Subfolders;

/// The names of sub-folders, or a line of text in their place that can't be selected. Texts are
/// made as they are looked at, as there may be very many.
class SubfolderList : public QAbstractListModel
{
    Q_OBJECT

public:
    /// @p icon stands before each name.
    explicit SubfolderList(const QIcon &icon, QObject *parent = nullptr);

    void showNames(std::shared_ptr<const Subfolders> folders);
    /// Shows no names but @p note, or nothing if that is empty.
    void showNote(const QString &note);

    /// The name, in bytes, that is at @p index; empty when none is.
    [[nodiscard]] std::optional<std::string> nameAt(const QModelIndex &index) const;
    /// Where @p name is; invalid when it is not there.
    [[nodiscard]] QModelIndex indexOf(const std::string &name) const;
    [[nodiscard]] bool hasNames() const { return m_folders != nullptr; }

    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex &index) const override;

private:
    QIcon m_icon;
    std::shared_ptr<const Subfolders> m_folders; // null while there is a note
    QString m_note;
};

} // namespace tavolin
