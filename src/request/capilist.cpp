// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/capilist.h"

#include "support/ctracer.h"
#include "util/output.h"

using namespace Agent;

CAPIListObject::~CAPIListObject() = default;

CAPIList::~CAPIList() = default;

QString CAPIList::url(const QString& sName)
{
    return m_entries[sName].url();
}

void CAPIList::AddAPI(const QString& sName, const QString& sURL)
{
    CAPIListObject entry;
    entry.name(sName);
    entry.url(sURL);
    m_entries[sName] = entry;
}

void CAPIList::dump() const
{
    CTracer tracer("CAPIList::dump");
    for (const auto& entry : m_entries)
        WriteLine(QLatin1String("Name: ") + entry.first + QLatin1String(" url: ")
                  + entry.second.url());
}
