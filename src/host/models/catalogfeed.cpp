// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/models/catalogfeed.h"

#include "db/dbshared.h"

#include <QFile>
#include <new>

namespace Pakmart
{

std::shared_ptr<CatalogFeed> CatalogFeed::Shared()
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
    connect(&m_watch, &PathWatch::Changed, this, &CatalogFeed::Look);
    connect(&m_beside, &Beside::Reported, this, &CatalogFeed::Take);
    Read();
}

void CatalogFeed::Look()
{
    if (!m_beside.IsRunning() && CatalogMark(m_folder) != m_mark)
        Read();
}

void CatalogFeed::Read()
{
    m_mark = CatalogMark(m_folder);
    const bool inParts = !m_table || m_table->Count() == 0;
    m_beside.Start([this, inParts] { Work(inParts); },
                   [this] {
                       Take();
                       Look(); // it may have been replaced meanwhile
                   });
}

// Parts of the first catalog are published, so that there are rows to show at once; those of
// a later one are not, since its other rows are still being shown.
void CatalogFeed::Work(bool inParts)
{
    try {
        CatalogTableReader reader(m_folder);
        for (int blocks = 1; reader.ReadBlock() && !m_beside.IsCancelled(); ++blocks)
            if (inParts && (blocks == 1 || blocks == 16))
                Publish(reader.Table());
        if (!m_beside.IsCancelled())
            Publish(reader.Table());
    } catch (const std::bad_alloc&) {
        auto none = std::make_shared<CatalogTable>();
        none->condition = CatalogTable::Unreadable;
        Publish(none);
    }
}

void CatalogFeed::Publish(const SharedTable& table)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_published = table;
    m_beside.Report();
}

void CatalogFeed::Take()
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
    emit Changed();
}

} // namespace Pakmart
