// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The requests whose reply is a file of the data folder or nothing: aisles, profile,
// registration.

#include "host/worker/tasks.h"

#include <QJsonArray>
#include <vantrelagent/catalog/capigetaisles.h>
#include <vantrelagent/catalog/capisyncmymachine.h>
#include <vantrelagent/catalog/cxmlnode.h>
#include <vantrelagent/catalog/savedtree.h>
#include <vantrelagent/request/capisetoeminfo.h>

using namespace Agent;

namespace
{

constexpr int most = 20000; // entries of a list; no real store comes near

// A text of a saved file, in which a plus sign is written as "%2b".
QString Text(const std::string& text)
{
    return Plain(QString::fromStdString(text).replace(QLatin1String("%2b"), QLatin1String("+")));
}

QJsonArray CategoriesOf(CXMLNode& aisle, int& count)
{
    QJsonArray categories;
    for (const CXMLNode* category : aisle.ChildArray("category")) {
        if (++count > most)
            break;
        categories << QJsonObject{ { QStringLiteral("serial"),
                                     Text(category->Attribute("serialnumber", "")).toInt() },
                                   { QStringLiteral("name"), Text(category->Value()) } };
    }
    return categories;
}

QJsonArray AislesOf(CXMLNode& tree)
{
    QJsonArray aisles;
    int count = 0;
    for (CXMLNode* aisle : tree.ChildArray("aisle")) {
        if (++count > most)
            break;
        aisles << QJsonObject{ { QStringLiteral("name"), Text(aisle->Attribute("name", "")) },
                               { QStringLiteral("description"),
                                 Text(aisle->ChildValue("description", "")) },
                               { QStringLiteral("categories"), CategoriesOf(*aisle, count) } };
    }
    return aisles;
}

QJsonArray ApplicationsOf(CXMLNode& tree)
{
    QJsonArray applications;
    for (CXMLNode* application : tree.ChildArray("application")) {
        if (applications.size() >= most)
            break;
        applications << QJsonObject{
            { QStringLiteral("serial"), Text(application->ChildValue("serialnumber", "")).toInt() },
            { QStringLiteral("name"), Text(application->ChildValue("name", "")) },
            { QStringLiteral("package"), Text(application->ChildValue("packagename", "")) }
        };
    }
    return applications;
}

// Runs the request that saves its reply as `name` in the data folder, and reads that file.
Outcome Fetch(CAPI* (*request)(), const char* name, QJsonArray (*listOf)(CXMLNode&))
{
    Outcome outcome;
    const SavedMark saved(name);
    if (!RunToItsEnd(request(), outcome))
        return outcome;
    if (!saved.isNew())
        return saved.failure();
    CXMLNode tree(nullptr);
    if (ReadSavedTree(name, tree))
        outcome.result = { { QStringLiteral("list"), listOf(tree) } };
    else
        outcome.code = AgentError::ReplyNotUnderstood;
    return outcome;
}

} // namespace

Outcome FetchAisles(const QStringList&, Report&)
{
    return Fetch([]() -> CAPI* { return new CAPIGetAisles(true); }, ".aisles", AislesOf);
}

Outcome SyncMachine(const QStringList&, Report&)
{
    return Fetch([]() -> CAPI* { return new CAPISyncMyMachine(true); }, ".profile", ApplicationsOf);
}

Outcome RegisterMachine(const QStringList&, Report&)
{
    Outcome outcome;
    if (RunToItsEnd(new CAPISetOEMInfo, outcome))
        outcome.result = { { QStringLiteral("builder"), Text(CGetOEMInfo().getID()) } };
    return outcome;
}
