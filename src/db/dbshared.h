// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What the classes of the databases share: their folders, the life of the index layer, and
// the end of a call without memory.

#pragma once

#include "store/datafile.h"
#include "store/indexfile.h"
#include "store/pagecache.h"

#include <new>
#include <string>

namespace Agent
{

class DbFiles;

// The folders of the databases, as paths to open, with a slash at the end: the agent's data
// folder, and one in the user's home.
std::string CatalogFolder();
std::string RecentFolder();

// Initialises the index layer for the length of a scope, and releases it at the end only
// if it was not initialised before, so that a host keeps its own open indexes.
class IndexLayer
{
public:
    IndexLayer() : m_wasReady(HasPageCache()) { InitIndex(); }
    ~IndexLayer()
    {
        if (!m_wasReady)
            UnInitIndex();
    }
    IndexLayer(const IndexLayer&) = delete;
    IndexLayer& operator=(const IndexLayer&) = delete;

private:
    const bool m_wasReady;
};

// Writes the indexes of a new database, if they are still to be written, while events are
// processed.
void WriteGathered(DbFiles& files);

// The end of a public function of the databases after a failed allocation: it sets the
// record store's code for that, since no exception may reach a host.
inline bool OutOfMemory()
{
    taerror = taNoMemory;
    return false;
}

} // namespace Agent
