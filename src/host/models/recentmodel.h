// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Pakmart::RecentModel
/// The user's recently used applications, the last one first. It follows the list, whichever
/// process changes it, and never changes it itself (see CRUFile for that).

#pragma once

#include "listmodel.h"
#include <vantrelagent/export.h>

namespace Pakmart
{

class VANTRELAGENT_EXPORT RecentModel : public ListModel
{
    Q_OBJECT

public:
    /// What an application shows.
    enum Role {
        NameRole = Qt::DisplayRole, ///< the name to show
        SerialRole = Qt::UserRole + 1, ///< the number of the product in the store
        ProgramRole, ///< the command that starts it
        IconPathRole, ///< the path of its icon; may be empty
        SmallIconPathRole, ///< the path of its small icon; may be empty
        LastUsedRole ///< when it was used last, as QDateTime
    };
    Q_ENUM(Role)

    /// Begins to read at once.
    explicit RecentModel(QObject* parent = nullptr);
    ~RecentModel() override;

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
