// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What a product model shows of single products only: descriptions, and the names that products
// need. They are not kept in memory for all products, but read beside the event loop when they
// are asked for, many at once.

#pragma once

#include "host/beside.h"
#include "host/models/catalogtable.h"

#include <QCache>
#include <QHash>
#include <QSet>
#include <QStringList>

namespace Pakmart
{

struct ProductDetails {
    QString description;
    QStringList needs; // sorted

    bool operator==(const ProductDetails& other) const
    {
        return description == other.description && needs == other.needs;
    }
};

using DetailsBySerial = QHash<int, ProductDetails>;

// Of the products with these places, by their serial numbers. For a thread.
DetailsBySerial ReadDetails(const CatalogTable& table, const QHash<int, quint32>& places);

class ProductDetailsFeed : public QObject
{
    Q_OBJECT

public:
    // Null until they have been read. After a change of the table, the old ones until then.
    const ProductDetails* known(int serial) const { return m_known.object(serial); }
    // Has the details of a product read if they are not known; arrived() follows.
    void ask(int serial, quint32 place);
    // The products are now those of another table. Returns those whose details are known or
    // were asked for: these must be asked for again, with their new places.
    QSet<int> setTable(const SharedTable& table);

Q_SIGNALS:
    // These are known now, or have changed.
    void arrived(const QSet<int>& serials);

private:
    void read();
    void take();

    static constexpr int most = 4096; // kept, and read at once

    SharedTable m_table;
    QCache<int, ProductDetails> m_known{ most };
    QSet<int> m_fresh; // of the known ones: those of this table
    QHash<int, quint32> m_asked;
    bool m_isDue = false;
    // While the thread works:
    SharedTable m_readTable;
    QHash<int, quint32> m_reading;
    DetailsBySerial m_read;
    Beside m_beside; // the last one, so that the thread has ended when the others go
};

} // namespace Pakmart
