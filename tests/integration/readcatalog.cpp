// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Prints the content of each product in the catalog reader as a line of JSON, for a
// program that compares it with the source of the catalog.

#include "catalog/ccatalogmgr.h"
#include "catalog/cxmlnode.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cstdio>

namespace
{

QString Text(const std::string& text)
{
    return QString::fromStdString(text);
}

QJsonArray Dependencies(CXMLNode& product)
{
    QJsonArray names;
    for (CXMLNode* list : product.ChildArray("dependencies"))
        for (CXMLNode* dependency : list->ChildArray("dependency"))
            names << Text(dependency->Attribute("name", ""));
    return names;
}

QJsonObject Fields(CXMLNode& product, int serial)
{
    QJsonObject fields{
        { QStringLiteral("serial"), serial },
        { QStringLiteral("name"), Text(product.Attribute("name", "")) },
        { QStringLiteral("category"), Text(product.Parent()->Attribute("name", "")) },
        { QStringLiteral("size"), Text(product.ChildValue("filesize", "0")).toInt() },
        { QStringLiteral("dependencies"), Dependencies(product) }
    };
    for (const auto& [field, element] :
         { std::pair{ "package", "packagename" }, std::pair{ "version", "version" },
           std::pair{ "description", "briefdescription" },
           std::pair{ "homepage", "applicationdetailURL" } })
        fields[QLatin1String(field)] = Text(product.ChildValue(element, ""));
    return fields;
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    CCatalogMgr catalog;
    if (!catalog.ReadCatalog()) {
        std::fputs("readcatalog: there is no catalog that can be read\n", stderr);
        return 1;
    }
    for (const auto& [serial, node] : catalog.Applications()) {
        auto* product = static_cast<CXMLNode*>(node);
        std::puts(QJsonDocument(Fields(*product, int(serial))).toJson(QJsonDocument::Compact));
    }
    return 0;
}
