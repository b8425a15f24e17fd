// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The API directory: which URL serves which function of the store server.

#pragma once

#include "../util/export.h"

#include <QString>
#include <map>

// One entry of the directory.
class VANTRELAGENT_EXPORT CAPIListObject
{
public:
    CAPIListObject() = default;
    virtual ~CAPIListObject();
    CAPIListObject(const CAPIListObject&) = default;
    CAPIListObject& operator=(const CAPIListObject&) = default;

    QString name() const { return m_sName; }
    QString url() const { return m_sURL; }
    void name(const QString& sName) { m_sName = sName; }
    void url(const QString& sURL) { m_sURL = sURL; }

private:
    QString m_sName;
    QString m_sURL;
};

// The entries, ordered by name. Names are case-sensitive.
class VANTRELAGENT_EXPORT CAPIList
{
public:
    CAPIList() = default;
    virtual ~CAPIList();
    CAPIList(const CAPIList&) = default;
    CAPIList& operator=(const CAPIList&) = default;

    void Clear() { m_entries.clear(); }
    bool Empty() const { return m_entries.empty(); }

    // The URL stored under `sName`; empty for an unknown name, which from then
    // on has an entry with an empty URL.
    QString url(const QString& sName);

    // Stores an entry in place of any other of that name.
    void AddAPI(const QString& sName, const QString& sURL);

    // Writes the entries to standard output, a line each, in name order.
    void dump() const;

private:
    std::map<QString, CAPIListObject> m_entries;
};
