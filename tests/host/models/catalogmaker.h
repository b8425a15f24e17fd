// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Catalogs for the tests of models, put in place as an update does.

#pragma once

#include "db/ccatalogfile.h"
#include "db/dboptions.h"
#include "db/dbshared.h"
#include "db/rebuild.h"
#include "tests/common/datafolder.h"
#include "tests/common/statusfile.h"

#include <QList>
#include <functional>

struct TestProduct {
    int serial = 0;
    QByteArray name;
    QByteArray category = "Games";
    QByteArray package = name.toLower();
    QByteArray version = "1.0";
    QString description = QString();
    bool isHidden = false;
    int downloads = 0;
    QByteArrayList needs = {};
};

inline void MakeCatalog(const std::function<void(CCatalogFile&)>& fill)
{
    const Agent::IndexLayer layer;
    if (!Agent::RebuildCatalogDatabase({}, fill, [] { return true; }))
        qFatal("cannot make a catalog");
}

inline void MakeCatalog(const QList<TestProduct>& products)
{
    MakeCatalog([&products](CCatalogFile& file) {
        for (const TestProduct& product : products) {
            file.AddNew();
            file.setServerSerialNumber(product.serial);
            file.setName(product.name.constData());
            file.setCategory(product.category.constData());
            file.setPackageName(product.package.constData());
            file.setVersion(product.version.constData());
            file.setDescription(product.description);
            file.setHidden(product.isHidden);
            file.setDownloads(product.downloads);
            file.setDependencies(product.needs);
            file.SaveRecord(); // refuses a second product of a package
        }
    });
}

inline void RemoveCatalog()
{
    const QDir folder(DataFolder());
    const auto all = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;
    for (const QString& name : folder.entryList({ QStringLiteral(".VA*") }, all)) {
        const QFileInfo info(folder.filePath(name));
        if (info.isDir() && !info.isSymLink())
            QDir(info.filePath()).removeRecursively();
        else
            QFile::remove(info.filePath());
    }
}

inline QByteArray Stanza(const QByteArray& package, const QByteArray& version,
                         const QByteArray& status = "install ok installed")
{
    return "Package: " + package + "\nStatus: " + status + "\nVersion: " + version
        + "\nArchitecture: all\n\n";
}

// Replaces dpkg's status file in one step, as dpkg does.
inline void ReplaceStatus(const QByteArray& text)
{
    const QString made = StatusFile() + QStringLiteral("-new");
    QDir().mkpath(QFileInfo(made).path());
    QFile file(made);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
        qFatal("cannot write the status file");
    file.close();
    if (std::rename(QFile::encodeName(made).constData(),
                    QFile::encodeName(StatusFile()).constData())
        != 0)
        qFatal("cannot replace the status file");
}
