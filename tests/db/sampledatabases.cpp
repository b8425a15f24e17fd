// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Writes a catalog and a list of recently used applications into the folders of the
// machine image, and prints their paths and contents as JSON.

#include "db/ccatalogfile.h"
#include "db/crufile.h"
#include "store/indexfile.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cstdio>

namespace
{

QByteArray Numbered(const char* text, int number)
{
    return text + QByteArray::number(number);
}

// Product `number` of the sample; no field is empty.
QJsonObject Fill(CCatalogFile& catalog, int number)
{
    const char* const categories[] = { "Games", "\xd0\x98\xd0\xb3\xd1\x80\xd1\x8b", "Office" };
    const QByteArray category = categories[number % 3];
    const QByteArray name = Numbered(number % 2 ? "Name " : "\xe5\x90\x8d ", number);
    const QByteArray package = Numbered("package-", number);
    const QString description
        = number % 4 ? QString(number * 7, QLatin1Char('d')) + QChar(0x263a) : QString();
    catalog.AddNew();
    catalog.setCategory(category);
    catalog.setName(name);
    catalog.setPackageName(package);
    catalog.setVersion(Numbered("1.", number));
    catalog.setPrice("9.90");
    catalog.setReleaseDate("2026-01-02");
    catalog.setVantrelRanking(Numbered("", number));
    catalog.setApplicationURL(Numbered("http://store.example/", number));
    catalog.setAuthorURL(Numbered("http://author.example/", number));
    catalog.setServerSerialNumber(1000 + number);
    catalog.setDownloads(number * 70000);
    catalog.setFileSize(number * 1000);
    catalog.setInstalled(number % 2 != 0);
    catalog.setDescription(description);
    QJsonArray needed;
    for (int i = 0; i < number % 5; ++i) {
        const QByteArray dependency = Numbered("lib", number * 10 + i);
        catalog.AddDependency(dependency);
        needed << QString::fromUtf8(dependency);
    }
    return { { "category", QString::fromUtf8(category) },
             { "name", QString::fromUtf8(name) },
             { "package", QString::fromUtf8(package) },
             { "version", QString::fromUtf8(Numbered("1.", number)) },
             { "price", "9.90" },
             { "released", "2026-01-02" },
             { "ranking", QString::number(number) },
             { "url", QString::fromUtf8(Numbered("http://store.example/", number)) },
             { "author", QString::fromUtf8(Numbered("http://author.example/", number)) },
             { "serial", 1000 + number },
             { "downloads", number * 70000 },
             { "size", number * 1000 },
             { "installed", number % 2 },
             { "description", description },
             { "dependencies", needed } };
}

QJsonArray WriteCatalog()
{
    QJsonArray products;
    CCatalogFile catalog;
    if (!catalog.Create())
        qFatal("the catalog was not made");
    for (int number = 1; number <= 120; ++number) {
        products << Fill(catalog, number);
        if (!catalog.SaveRecord())
            qFatal("product %d was not saved", number);
    }
    return products;
}

QJsonArray WriteRecent()
{
    QJsonArray items;
    CRUFile recent;
    if (!recent.Create())
        qFatal("the list was not made");
    for (int number = 1; number <= 60; ++number) {
        const QByteArray description = Numbered("Application ", number);
        const QByteArray path = Numbered("/usr/games/a", number);
        recent.AddNew();
        recent.SetDescription(description);
        recent.SetExecutablePath(path);
        recent.SetIconPath("/usr/share/icons/a.png");
        recent.SetSmallIconPath("/usr/share/icons/small.png");
        recent.SetServerSerialNumber(number * 3);
        recent.SetLastAccessed(1700000000 + number % 7 * 1000);
        if (!recent.Update())
            qFatal("item %d was not saved", number);
        if (number % 6 == 0) {
            if (!recent.DeleteRecord(number * 3))
                qFatal("item %d was not removed", number);
            continue;
        }
        items << QJsonObject{ { "description", QString::fromUtf8(description) },
                              { "program", QString::fromUtf8(path) },
                              { "icon", "/usr/share/icons/a.png" },
                              { "small", "/usr/share/icons/small.png" },
                              { "serial", number * 3 },
                              { "used", 1700000000 + number % 7 * 1000 } };
    }
    return items;
}

} // namespace

int main()
{
    InitIndex();
    const QJsonObject told{ { "products", WriteCatalog() },
                            { "recent", WriteRecent() },
                            { "catalogFile", QString::fromStdString(CCatalogFile::CATALOGDFNAME) },
                            { "recentFile", QString::fromStdString(CRUFile::RUDATAFILE) } };
    UnInitIndex();
    std::puts(QJsonDocument(told).toJson().constData());
    return 0;
}
