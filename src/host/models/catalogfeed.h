// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The catalog in memory, shared by all models of the process: read beside the event loop, and
// again whenever an update has replaced it.

#pragma once

#include "host/beside.h"
#include "host/models/catalogtable.h"
#include "host/models/pathwatch.h"

namespace Pakmart
{

class CatalogFeed : public QObject
{
    Q_OBJECT

public:
    // Exists as long as anybody holds it.
    static std::shared_ptr<CatalogFeed> shared();

    // Null until the first products have been read. While the first catalog is being read,
    // there are tables of its beginning.
    SharedTable table() const { return m_table; }

Q_SIGNALS:
    void changed();

private:
    CatalogFeed();
    void look();
    void read();
    void work(bool inParts);
    void publish(const SharedTable& table);
    void take();

    const std::string m_folder;
    SharedTable m_table;
    std::string m_mark; // of the catalog that was read, or is being read
    std::mutex m_mutex;
    SharedTable m_published; // by the thread
    PathWatch m_watch;
    Beside m_beside;
};

} // namespace Pakmart
