// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Catalogs for the tests of the database, and a check that the database contains exactly
// one of them.

#pragma once

#include "catalog/capiupdatecatalog.h"
#include "db/ccatalogfile.h"
#include "db/dbcheck.h"
#include "db/dbshared.h"
#include "tests/common/datafolder.h"
#include "tests/db/onfiles.h"
#include "tests/store/storeshims.h"

#include <QDomDocument>
#include <QLoggingCategory>
#include <functional>
#include <memory>
#include <sys/wait.h>

using Agent::CatalogFolder;
using Agent::CheckCatalog;
using Agent::DbFindings;
using Agent::IndexLayer;

inline const QStringList databaseFiles{
    QStringLiteral(".VACatalog.fil"),     QStringLiteral(".VACatalog.k1"),
    QStringLiteral(".VACatalog.k2"),      QStringLiteral(".VACatalog.k3"),
    QStringLiteral(".VACatalog.k4"),      QStringLiteral(".VACatalogNotes.fil"),
    QStringLiteral(".VACatalogNotes.k1"), QStringLiteral(".VADepends.fil"),
    QStringLiteral(".VADepends.k1"),      QStringLiteral(".VADepends.k2"),
};

// The existing folders of databases: the current one and leftovers.
inline QStringList Generations()
{
    return QDir(DataFolder())
        .entryList({ QStringLiteral(".VACatalog.*") },
                   QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot | QDir::NoSymLinks);
}

inline void RemoveDatabase()
{
    for (const QString& name : databaseFiles)
        QFile::remove(DataPath(name));
    QFile::remove(DataPath(QStringLiteral(".VACatalog.current")));
    QFile::remove(DataPath(QStringLiteral(".VACatalog.lock")));
    for (const QString& name : Generations())
        QDir(DataPath(name)).removeRecursively();
}

// Turns the database into plain files, as older versions made it.
inline void MakePlain()
{
    for (const QString& name : databaseFiles) {
        const QString path = DataPath(name), copy = path + QStringLiteral(".copy");
        if (!QFile::copy(path, copy) || !QFile::remove(path) || !QFile::rename(copy, path))
            qFatal("cannot make a plain file of %s", qPrintable(name));
    }
    QFile::remove(DataPath(QStringLiteral(".VACatalog.current")));
    for (const QString& name : Generations())
        QDir(DataPath(name)).removeRecursively();
}

// Collects the library's log as long as the object lives.
class LoggedLines
{
public:
    LoggedLines()
    {
        s_lines.clear();
        QLoggingCategory::setFilterRules(QStringLiteral("vantrel.agent.*=true"));
        m_before
            = qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& line) {
                  s_lines += line.toUtf8() + '\n';
              });
    }
    ~LoggedLines()
    {
        qInstallMessageHandler(m_before);
        QLoggingCategory::setFilterRules(QString());
    }
    LoggedLines(const LoggedLines&) = delete;
    LoggedLines& operator=(const LoggedLines&) = delete;

    QByteArray text() const { return s_lines; }

private:
    static inline QByteArray s_lines;
    QtMessageHandler m_before;
};

inline QDomDocument Document(const QByteArray& content)
{
    QDomDocument document;
    if (!document.setContent("<catalog>" + content + "</catalog>"))
        qFatal("the test's own XML is broken");
    return document;
}

// For databases of which no call is counted or fails.
inline UnsyncedFiles unsyncedFiles;

inline bool Process(QDomElement catalog, StoreFiles& files = unsyncedFiles)
{
    // A request that is never executed is destroyed by its maker.
    const std::unique_ptr<CAPIUpdateCatalog> request(
        new CAPIUpdateCatalog(true, true, OnFiles(files)));
    return request->ProcessVantrelCatalogRequest(catalog);
}

inline bool Process(const QByteArray& content)
{
    return Process(Document(content).documentElement());
}

inline QByteArray Product(int serial, const QByteArray& elements = "")
{
    const QByteArray number = QByteArray::number(serial);
    return "<product name=\"n" + number + "\"><serialnumber>" + number
        + "</serialnumber><packagename>p" + number + "</packagename>" + elements + "</product>";
}

inline QByteArray Category(const QByteArray& products, const QByteArray& name = "Games")
{
    return "<category name=\"" + name + "\" home_page=\"http://g/\">" + products + "</category>";
}

// A catalog with a version in its products by which it is recognised.
inline QByteArray Whole(const QByteArray& version, int count = 40)
{
    QByteArray products;
    for (int i = 1; i <= count; ++i)
        products += Product(i,
                            "<version>" + version + "</version><briefdescription>about "
                                + QByteArray::number(i) + QByteArray(i * 7, 'x')
                                + "</briefdescription><dependencies><d name=\"libc6\"/><d name=\"q"
                                + QByteArray::number(i) + "\"/></dependencies>");
    return Category(products);
}

// The version of the catalog in the database; if it is not complete, a description of the
// fault.
inline QByteArray VersionOfWhole(int count = 40)
{
    const IndexLayer layer;
    CCatalogFile file(OnFiles(unsyncedFiles));
    if (!file.Open())
        return "does not open";
    const DbFindings findings = CheckCatalog(CatalogFolder());
    for (const Agent::Findings& list : { findings.faults, findings.remarks })
        if (!list.empty())
            return "unsound: " + QByteArray::fromStdString(list.front());
    QByteArray version;
    int found = 0;
    for (bool more = file.FindFirstForCategory("Games"); more;
         more = file.FindNextForCategory("Games"), ++found) {
        if (found > 0 && version != file.Version())
            return "mixed";
        version = file.Version();
        if (file.OwnDependencies().size() != 2 || file.Description().isEmpty())
            return "with a product that lacks something";
    }
    return found == count ? version : "incomplete";
}

inline QList<QByteArray> Contents()
{
    QList<QByteArray> contents;
    for (const QString& name : databaseFiles)
        contents << ReadDataFile(name);
    return contents;
}
