// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Initialises the index layer for the length of a scope, and releases it at the end only
// if it was not initialised before, so that a host keeps its own open indexes.

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
