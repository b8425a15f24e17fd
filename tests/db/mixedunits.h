// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Mixes up the records and pages of a database's files; each of them stays complete.

#pragma once

#include <QByteArray>

#include "db/dblayouts.h"
#include "store/bytes.h"
#include "store/indexpage.h"
#include "store/notesheap.h"
#include "tests/store/storetest.h"

#include <algorithm>
#include <string>

// The length of the records or pages of a database's file.
inline int UnitLength(const std::string& path)
{
    const std::string name = path.substr(path.rfind('/') + 1);
    for (const Agent::DbLayout* layout :
         { &Agent::Catalog::layout, &Agent::Dependency::layout, &Agent::Recent::layout }) {
        if (name == layout->fileName)
            return layout->recordLength;
        for (int i = 0; i < layout->indexCount; ++i)
            if (name == layout->indexes[i].fileName)
                return Agent::PackedLength(layout->indexes[i].keyLength);
    }
    return Agent::PackedLength(Agent::freeKeyLength);
}

// Copies one over another, makes one lead to itself or anywhere, or makes one the
// beginning of the chain of free ones.
inline void MixUnits(QByteArray& bytes, int length, Random& random)
{
    const int count = std::max(1, int(bytes.size()) / length);
    const auto some = [&] { return int(random.below(std::uint64_t(count))); };
    const auto put = [&bytes](int at, int word) {
        if (at + 4 <= bytes.size())
            Agent::PutInt32(reinterpret_cast<std::uint8_t*>(bytes.data()) + at, word);
    };
    const int to = some() * length, keyLength = (length - 8) / Agent::pageItems - 9;
    const int item = int(random.below(Agent::pageItems));
    switch (random.below(4)) {
    case 0:
        bytes.replace(to, length, QByteArray(bytes).mid(some() * length, length));
        break;
    case 1:
        put(to + 4, random.below(2) ? to / length : some());
        break;
    case 2:
        put(to + 8 + item * (keyLength + 9) + 4, random.below(2) ? to / length : some());
        break;
    default:
        put(random.below(2) ? 0 : to, some());
    }
}
