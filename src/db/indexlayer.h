// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The index layer for the length of a block: made ready, and released again
// where it was not ready before, so that a host that has indexes of its own open
// keeps them.

#pragma once

#include "store/indexfile.h"
#include "store/pagecache.h"

namespace Agent
{

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

} // namespace Agent
