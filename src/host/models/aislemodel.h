// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Pakmart::AisleModel
/// The store's arrangement of its categories, as it was fetched last (see AislesJob): the aisles,
/// each with those of its categories that have products in the catalog. An aisle without one is
/// not shown. The store is not asked.

#pragma once

#include "listmodel.h"
#include <vantrelagent/export.h>

namespace Pakmart
{

class VANTRELAGENT_EXPORT AisleModel : public ListModel
{
    Q_OBJECT

public:
    /// What an aisle shows.
    enum Role {
        NameRole = Qt::DisplayRole, ///< its name
        DescriptionRole = Qt::UserRole + 1, ///< a text about it; may be empty
        /// Its categories in the order of the store: a QVariantList of QVariantMaps with the names
        /// of CategoryModel's roles: "name", "category", "products" and "iconName"
        CategoriesRole
    };
    Q_ENUM(Role)

    /// Begins to read at once.
    explicit AisleModel(QObject* parent = nullptr);
    ~AisleModel() override;

    /// As for any model.
    /// @{
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;
    /// @}

private:
    void read();
    void take();

    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace Pakmart
