// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Pakmart::CategoryModel
/// The categories of the catalog as a tree: "Games/Arcade" is a row below "Games". Views of
/// lists show those at the top.
///
/// Like the list models, it is filled beside the event loop, and its rows change in place when
/// an update replaces the catalog.

#pragma once

#include "listmodel.h"
#include <vantrelagent/export.h>

namespace Pakmart
{

class CatalogTable;

class VANTRELAGENT_EXPORT CategoryModel : public QAbstractItemModel
{
    Q_OBJECT
    /// What the model has to show.
    Q_PROPERTY(Pakmart::ListModel::State state READ state NOTIFY stateChanged)
    /// Words for a state without rows, for the user; empty if there are rows.
    Q_PROPERTY(QString stateText READ stateText NOTIFY stateChanged)

public:
    /// What a category shows.
    enum Role {
        NameRole = Qt::DisplayRole, ///< the last part of its name
        CategoryRole = Qt::UserRole + 1, ///< its whole name, for ProductModel::setCategory
        ProductsRole, ///< the number of its products, with those below it
        IconNameRole ///< the name of an icon of the icon theme
    };
    Q_ENUM(Role)

    /// Begins to read at once.
    explicit CategoryModel(QObject* parent = nullptr);
    ~CategoryModel() override;

    /// What the model has to show.
    ListModel::State state() const;
    /// Words for a state without rows, as a sentence for the user; empty if there are rows.
    QString stateText() const;

    /// As for any model.
    /// @{
    QModelIndex index(int row, int column = 0,
                      const QModelIndex& parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex& index) const override;
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;
    /// @}

Q_SIGNALS:
    /// The state or its text is another one.
    void stateChanged();

private:
    void take();
    void describe(const CatalogTable& table);

    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace Pakmart
