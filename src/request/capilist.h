// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// The API directory: which URL serves which function of the store server.

#pragma once

#include <QString>
#include <map>
#include <vantrelagent/export.h>

/// One entry of the directory.
class VANTRELAGENT_EXPORT CAPIListObject
{
public:
    CAPIListObject() = default;
    virtual ~CAPIListObject();
    /// Copies share nothing.
    /// @{
    CAPIListObject(const CAPIListObject&) = default;
    CAPIListObject& operator=(const CAPIListObject&) = default;
    /// @}

    QString name() const { return m_sName; } ///< the function's name
    QString url() const { return m_sURL; } ///< its URL, without a query
    void name(const QString& sName) { m_sName = sName; } ///< sets the name
    void url(const QString& sURL) { m_sURL = sURL; } ///< sets the URL

private:
    QString m_sName;
    QString m_sURL;
};

/// The entries, ordered by name. Names are case-sensitive.
class VANTRELAGENT_EXPORT CAPIList
{
public:
    CAPIList() = default;
    virtual ~CAPIList();
    /// Copies share nothing.
    /// @{
    CAPIList(const CAPIList&) = default;
    CAPIList& operator=(const CAPIList&) = default;
    /// @}

    void Clear() { m_entries.clear(); } ///< removes all entries
    bool Empty() const { return m_entries.empty(); } ///< whether there is no entry

    /// The URL stored under `sName`; empty for an unknown name, which from then
    /// on has an entry with an empty URL.
    QString url(const QString& sName);

    /// Stores an entry, replacing any other with that name.
    void AddAPI(const QString& sName, const QString& sURL);

    /// Writes the entries to standard output, a line each, in name order.
    void dump() const;

private:
    std::map<QString, CAPIListObject> m_entries;
};
