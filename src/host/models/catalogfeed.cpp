// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/models/catalogfeed.h"

#include "db/dbshared.h"

#include <QFile>
#include <new>

namespace Pakmart
{

std::shared_ptr<CatalogFeed> CatalogFeed::shared()
{
    static std::weak_ptr<CatalogFeed> shared;
    std::shared_ptr<CatalogFeed> feed = shared.lock();
    if (!feed)
        shared = feed = std::shared_ptr<CatalogFeed>(new CatalogFeed);
    return feed;
}

CatalogFeed::CatalogFeed()
    : m_folder(Agent::CatalogFolder()), m_watch(QFile::decodeName(m_folder.c_str()))
{
    connect(&m_watch, &PathWatch::changed, this, &CatalogFeed::look);
    connect(&m_beside, &Beside::reported, this, &CatalogFeed::take);
    read();
}

void CatalogFeed::look()
{
    if (!m_beside.isRunning() && CatalogMark(m_folder) != m_mark)
        read();
}

void CatalogFeed::read()
{
    m_mark = CatalogMark(m_folder);
    const bool inParts = !m_table || m_table->count() == 0;
    m_beside.start([this, inParts] { work(inParts); },
                   [this] {
                       take();
                       look(); // it may have been replaced meanwhile
                   });
}

// Parts of the first catalog are published, so that there are rows to show at once; those of
// a later one are not, since its other rows are still being shown.
void CatalogFeed::work(bool inParts)
{
    try {
        CatalogTableReader reader(m_folder);
        for (int blocks = 1; reader.readBlock() && !m_beside.isCancelled(); ++blocks)
            if (inParts && (blocks == 1 || blocks == 16))
                publish(reader.table());
        if (!m_beside.isCancelled())
            publish(reader.table());
    } catch (const std::bad_alloc&) {
        auto none = std::make_shared<CatalogTable>();
        none->condition = CatalogTable::Unreadable;
        publish(none);
    }
}

void CatalogFeed::publish(const SharedTable& table)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_published = table;
    m_beside.report();
}

void CatalogFeed::take()
{
    SharedTable table;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        table = std::move(m_published);
        m_published = nullptr;
    }
    if (!table)
        return;
    m_table = table;
    emit changed();
}

} // namespace Pakmart
