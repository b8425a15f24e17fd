// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The arrangement of the store, and the account's applications on this machine.

#include "boxwatcher.h"
#include "commands.h"
#include "console.h"
#include "outcome.h"

#include <QEventLoop>
#include <QJsonArray>
#include <QJsonObject>
#include <vantrelagent/catalog/capigetaisles.h>
#include <vantrelagent/catalog/capisyncmymachine.h>
#include <vantrelagent/catalog/cxmlnode.h>
#include <vantrelagent/catalog/savedtree.h>

using namespace Agent;

namespace
{

// A text of a saved file, in which a plus sign is written as "%2b".
QString Text(const std::string& text)
{
    return QString::fromStdString(text).replace(QLatin1String("%2b"), QLatin1String("+"));
}

// Runs a request that does not wait for its own end. False if it failed.
bool RunToItsEnd(CAPI* request)
{
    QEventLoop loop;
    bool ended = false;
    bool succeeded = false;
    QObject::connect(request, &CAPI::APIComplete, &loop, [&](bool ok) {
        ended = true;
        succeeded = ok;
        loop.quit();
    });
    request->Execute();
    if (!ended)
        loop.exec();
    return succeeded;
}

// Runs the request that saves its reply as `name` in the data folder, and reads that file.
int Fetch(Console& display, const BoxWatcher& boxes, CAPI* request, const char* name,
          CXMLNode& tree)
{
    const SavedMark saved(name);
    const bool succeeded = RunToItsEnd(request);
    if (Interrupt::received())
        return ExitInterrupted;
    if (!succeeded) {
        // Usually a box has already shown why.
        if (boxes.errors() == 0)
            display.complain(QStringLiteral("the request failed"));
        return ExitFailed;
    }
    if (!saved.isNew()) {
        display.complain(QStringLiteral("the answer could not be saved in %1").arg(saved.path()));
        return ExitFailed;
    }
    if (!ReadSavedTree(name, tree)) {
        display.complain(QStringLiteral("%1 cannot be read").arg(saved.path()));
        return ExitFailed;
    }
    return ExitDone;
}

QJsonArray AislesAsJson(CXMLNode& tree)
{
    QJsonArray aisles;
    for (CXMLNode* aisle : tree.ChildArray("aisle")) {
        QJsonArray categories;
        for (const CXMLNode* category : aisle->ChildArray("category"))
            categories << QJsonObject{ { QStringLiteral("serial"),
                                         Text(category->Attribute("serialnumber", "")).toInt() },
                                       { QStringLiteral("name"), Text(category->Value()) } };
        aisles << QJsonObject{ { QStringLiteral("name"), Text(aisle->Attribute("name", "")) },
                               { QStringLiteral("description"),
                                 Text(aisle->ChildValue("description", "")) },
                               { QStringLiteral("categories"), categories } };
    }
    return aisles;
}

QJsonArray ApplicationsAsJson(CXMLNode& tree)
{
    QJsonArray applications;
    for (CXMLNode* application : tree.ChildArray("application"))
        applications << QJsonObject{
            { QStringLiteral("serial"), Text(application->ChildValue("serialnumber", "")).toInt() },
            { QStringLiteral("name"), Text(application->ChildValue("name", "")) },
            { QStringLiteral("package"), Text(application->ChildValue("packagename", "")) }
        };
    return applications;
}

// A text from the server on one line.
QString Line(const QJsonObject& object, const char* key)
{
    return object[QLatin1String(key)].toString().simplified();
}

QString Numbered(const QJsonObject& object)
{
    return QStringLiteral("%1  ").arg(object[QLatin1String("serial")].toInt(), 6)
        + Line(object, "name");
}

void SayAisle(Console& display, const QJsonObject& aisle)
{
    const QString description = Line(aisle, "description");
    display.sayText(Line(aisle, "name")
                    + (description.isEmpty() ? QString() : QLatin1String(": ") + description));
    for (const auto& category : aisle[QLatin1String("categories")].toArray())
        display.sayText(Numbered(category.toObject()));
}

void SayApplication(Console& display, const QJsonObject& application)
{
    display.sayText(Numbered(application) + QLatin1String(" (") + Line(application, "package")
                    + QLatin1Char(')'));
}

// A reply that is saved in a file of the data folder and shown from it.
struct Shelf {
    const char* activity;
    CAPI* (*request)();
    const char* file;
    const char* nothing; // the message if it is empty
    QJsonArray (*asJson)(CXMLNode& tree);
    void (*say)(Console& display, const QJsonObject& entry);
};

int Show(Console& display, const BoxWatcher& boxes, bool json, const Shelf& shelf)
{
    if (!json)
        display.activity(QLatin1String(shelf.activity));
    CXMLNode tree(nullptr);
    const int status = Fetch(display, boxes, shelf.request(), shelf.file, tree);
    if (status != ExitDone)
        return status;
    const QJsonArray entries = shelf.asJson(tree);
    if (json) {
        display.sayJson(entries);
        return ExitDone;
    }
    if (entries.isEmpty())
        display.sayText(QLatin1String(shelf.nothing));
    for (const auto& entry : entries)
        shelf.say(display, entry.toObject());
    return ExitDone;
}

} // namespace

int AislesCommand(Console& display, const BoxWatcher& boxes, bool json)
{
    return Show(display, boxes, json,
                { "Asking for the aisles", []() -> CAPI* { return new CAPIGetAisles(false); },
                  ".aisles", "The store has no aisles.", AislesAsJson, SayAisle });
}

int SyncCommand(Console& display, const BoxWatcher& boxes, bool json)
{
    return Show(display, boxes, json,
                { "Asking for the profile of this machine",
                  []() -> CAPI* { return new CAPISyncMyMachine(false); }, ".profile",
                  "Nothing of the account is installed on this machine.", ApplicationsAsJson,
                  SayApplication });
}
