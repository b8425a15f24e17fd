// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/models/productdetails.h"

#include "db/dblayouts.h"
#include "util/showntext.h"

#include <QTimer>

using namespace Agent;

namespace Pakmart
{

// The file of dependencies is in no order: it is read once for all products.
DetailsBySerial ReadDetails(const CatalogTable& table, const QHash<int, quint32>& places)
{
    DetailsBySerial details;
    QHash<std::int32_t, int> serials; // by record number
    const std::lock_guard<std::mutex> lock(table.notes->mutex);
    for (auto place = places.begin(); place != places.end(); ++place) {
        const CatalogEntry& entry = table.entry(place.value());
        details[place.key()].description
            = ShownText(QString::fromStdString(table.notes->reader.Read(entry.note)));
        serials[entry.record] = place.key();
    }
    RecordReader& needs = table.notes->needs;
    for (std::int32_t number = 1; needs && number < needs.Count(); ++number) {
        const std::uint8_t* const record = needs.Live(number);
        const auto serial = record ? serials.constFind(GetInt32(record + Dependency::parent))
                                   : serials.constEnd();
        if (serial != serials.constEnd())
            details[*serial].needs
                << ShownLine(QString::fromUtf8(GetText(record, Dependency::name)));
    }
    for (ProductDetails& one : details) {
        one.needs.sort();
        one.needs.removeDuplicates();
    }
    return details;
}

void ProductDetailsFeed::ask(int serial, quint32 place)
{
    if (!m_table || !m_table->notes || m_fresh.contains(serial) || m_asked.size() >= most
        || (m_reading.contains(serial) && m_readTable == m_table))
        return;
    m_asked[serial] = place;
    if (m_isDue || m_beside.isRunning())
        return;
    // Views ask row by row.
    m_isDue = true;
    QTimer::singleShot(0, this, &ProductDetailsFeed::read);
}

QSet<int> ProductDetailsFeed::setTable(const SharedTable& table)
{
    if (table == m_table)
        return {};
    QSet<int> wanted;
    for (const auto& serials : { m_known.keys(), m_asked.keys(), m_reading.keys() })
        for (const int serial : serials)
            wanted.insert(serial);
    m_table = table;
    m_asked.clear();
    m_fresh.clear();
    return wanted;
}

void ProductDetailsFeed::read()
{
    m_isDue = false;
    if (m_asked.isEmpty())
        return;
    m_readTable = m_table;
    m_reading.swap(m_asked);
    m_asked.clear();
    m_beside.start([this] { m_read = ReadDetails(*m_readTable, m_reading); },
                   [this] {
                       take();
                       if (!m_beside.isRunning())
                           read();
                   });
}

void ProductDetailsFeed::take()
{
    const bool isCurrent = m_readTable == m_table;
    m_reading.clear();
    m_readTable.reset();
    const DetailsBySerial details = std::move(m_read);
    m_read.clear();
    if (!isCurrent)
        return;
    QSet<int> news;
    if (m_known.size() + details.size() > most) {
        m_known.clear();
        m_fresh.clear();
    }
    for (auto one = details.begin(); one != details.end(); ++one) {
        const ProductDetails* const old = known(one.key());
        if (!old || !(*old == *one))
            news.insert(one.key());
        m_known.insert(one.key(), new ProductDetails(*one));
        m_fresh.insert(one.key());
    }
    if (!news.isEmpty())
        emit arrived(news);
}

} // namespace Pakmart
