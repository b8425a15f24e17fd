// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Package sources, products and updates: what an install has to ask the store.

#include "host/worker/tasks.h"

#include <QDomDocument>
#include <QFile>
#include <QJsonArray>
#include <QScopeGuard>
#include <QTimer>
#include <algorithm>
#include <fstream>
#include <vantrelagent/catalog/capidownloadappinfo.h>
#include <vantrelagent/catalog/cappinfo.h>
#include <vantrelagent/db/crufile.h>
#include <vantrelagent/install/capigetosver.h>
#include <vantrelagent/install/capigetsourceslist.h>
#include <vantrelagent/install/crunaptget.h>
#include <vantrelagent/store/indexfile.h>
#include <vantrelagent/support/cconfigfile.h>
#include <vantrelagent/support/funkydate.h>
#include <vantrelagent/util/desktop.h>
#include <vantrelagent/util/paths.h>
#include <vantrelagent/util/urlcodec.h>

using namespace Agent;

namespace
{

int CountSources()
{
    int count = 0;
    std::ifstream sources(CRunAptGet::SourcesFile(true));
    for (std::string line; std::getline(sources, line);)
        count += line.compare(0, 4, "deb ") == 0 ? 1 : 0;
    return count;
}

// Refreshes the package lists. A stop of the task ends it.
Outcome RefreshLists(Report& report)
{
    Outcome outcome;
    CRunAptGet runner;
    QObject::connect(
        &runner, &CRunAptGet::signalWaitingFor, &runner,
        [&report](const std::string& text) { report.waits(QString::fromStdString(text)); });
    QTimer stopper;
    QObject::connect(&stopper, &QTimer::timeout, &runner, [&runner] {
        if (IsStopped())
            runner.Cancel();
    });
    stopper.start(50);
    if (runner.RefreshLists(true))
        return outcome;
    outcome.code = runner.Failure();
    outcome.sentence = runner.FailureSentence();
    outcome.details = runner.FailureDetails();
    return outcome;
}

QString LineOf(const QJsonObject& object, const char* name)
{
    return object[QLatin1String(name)].toString();
}

// ---- products ----

QJsonObject ProductOf(CAppInfo& info)
{
    QJsonObject product{ { QStringLiteral("serial"), info.ServerSerialNumber().toInt() },
                         { QStringLiteral("package"), info.PackageName() },
                         { QStringLiteral("name"), Plain(info.FriendlyName()) } };
    if (info.Count() == 0)
        return product;
    const CAppInfoObject& program = info[0];
    product[QStringLiteral("program")] = Plain(program.Name());
    product[QStringLiteral("path")] = Plain(program.Path());
    product[QStringLiteral("icon")] = Plain(program.LargeIcon());
    product[QStringLiteral("smallIcon")] = Plain(program.SmallIcon());
    return product;
}

// The information must be about the products that were asked for, each of which has a package.
Outcome Judge(std::vector<CAppInfo>& infos, const std::vector<long>& serials)
{
    Outcome outcome;
    QJsonArray products;
    for (const long serial : serials) {
        const auto info = std::find_if(infos.begin(), infos.end(), [serial](const CAppInfo& one) {
            return one.ServerSerialNumber().toLong() == serial && !one.PackageName().isEmpty();
        });
        if (info == infos.end()) {
            outcome.code = AgentError::ReplyNotUnderstood;
            outcome.details
                = QStringLiteral("It does not name the package of product %1.").arg(serial);
            return outcome;
        }
        products << ProductOf(*info);
    }
    outcome.result = { { QStringLiteral("products"), products } };
    return outcome;
}

Outcome AskForProducts(std::vector<long>& serials)
{
    Outcome outcome;
    QString file;
    auto* request = new CAPIDownloadAppInfo(serials, true);
    QObject::connect(request, &CAPI::APIDestinationFile,
                     [&file](const QFile& reply) { file = reply.fileName(); });
    const auto remove = qScopeGuard([&file] {
        if (!file.isEmpty())
            QFile::remove(file);
    });
    if (!RunToItsEnd(request, outcome))
        return outcome;
    std::vector<CAppInfo> infos;
    if (CAppInfo::BuildApplicationInformation(infos, file))
        return Judge(infos, serials);
    outcome.code = AgentError::ReplyNotUnderstood;
    return outcome;
}

// ---- the recently used list ----

QDomElement Element(QDomDocument& document, const char* tag, const QString& text)
{
    QDomElement element = document.createElement(QLatin1String(tag));
    element.appendChild(document.createTextNode(url_encode(text)));
    return element;
}

// The product as the reply of the server had it.
CAppInfo InfoOf(const QJsonObject& product)
{
    QDomDocument document;
    QDomElement package = document.createElement(QStringLiteral("package"));
    package.appendChild(Element(document, "name", LineOf(product, "name")));
    package.appendChild(Element(document, "serialnumber",
                                QString::number(product[QLatin1String("serial")].toInt())));
    package.appendChild(Element(document, "packagename", LineOf(product, "package")));
    QDomElement binary = document.createElement(QStringLiteral("binary"));
    binary.appendChild(Element(document, "name", LineOf(product, "program")));
    binary.appendChild(Element(document, "path", LineOf(product, "path")));
    binary.appendChild(Element(document, "largeicon", LineOf(product, "icon")));
    binary.appendChild(Element(document, "smallicon", LineOf(product, "smallIcon")));
    package.appendChild(binary);
    CAppInfo info;
    info.ProcessPackage(package);
    return info;
}

bool IsRecorded(int serial)
{
    if (InitIndex() != 0)
        return false;
    bool found = false;
    {
        CRUFile list;
        found = list.OpenOrRepair() && list.FindServerSerialNumber(serial);
    }
    UnInitIndex();
    return found;
}

// ---- updates of the system ----

// The request for the packages of an update. It has no meta-object of its own, so that the
// server gets the name of the base class; the base class would install them at once, and note
// the date.
class UpdatesRequest : public CAPIGetOSVer
{
public:
    explicit UpdatesRequest(QStringList& names, bool& answered)
        : CAPIGetOSVer(true), m_names(names), m_answered(answered)
    {
        m_bWaitForDone = false;
    }

    void onSuccessfulTransfer(QDomElement* body) override
    {
        const QString tag = QStringLiteral("package");
        for (QDomElement package = body->firstChildElement(tag); !package.isNull();
             package = package.nextSiblingElement(tag)) {
            const QString name = package.firstChildElement(QStringLiteral("name")).text();
            m_names << url_decode(name).trimmed();
        }
        m_answered = true;
        m_bSucceeded = false; // the base class notes no date
    }

private:
    QStringList& m_names;
    bool& m_answered;
};

} // namespace

Outcome BringSourcesUpToDate(Refresh refresh, Report& report)
{
    Outcome outcome;
    bool changed = false;
    auto* request = new CAPIGetSourcesList(true, false);
    QObject::connect(
        request, &CAPIGetSourcesList::signalWaitingFor,
        [&report](const std::string& text) { report.waits(QString::fromStdString(text)); });
    QObject::connect(request, &CAPIGetSourcesList::signalSourcesListModified,
                     [&changed](bool deps) { changed = changed || deps; });
    if (!RunToItsEnd(request, outcome))
        return outcome;
    report.waits(QString());
    const int sources = CountSources();
    if (sources == 0) {
        outcome.code = AgentError::RefreshFailed;
        outcome.details = QStringLiteral("The store names no package sources.");
        return outcome;
    }
    if (changed || refresh == Refresh::Always)
        outcome = RefreshLists(report);
    outcome.result
        = { { QStringLiteral("sources"), sources }, { QStringLiteral("changed"), changed } };
    return outcome;
}

Outcome RefreshSources(const QStringList&, Report& report)
{
    return BringSourcesUpToDate(Refresh::Always, report);
}

Outcome CheckSources(const QStringList&, Report& report)
{
    return BringSourcesUpToDate(Refresh::IfChanged, report);
}

Outcome FetchPackagesOf(const QStringList& words, Report&)
{
    std::vector<long> serials;
    for (const QString& word : words)
        serials.push_back(word.toLong());
    return AskForProducts(serials);
}

Outcome FetchProducts(const QStringList& words, Report& report)
{
    const Outcome products = FetchPackagesOf(words, report);
    if (products.code != AgentError::NoFailure)
        return products;
    Outcome outcome = BringSourcesUpToDate(Refresh::IfChanged, report);
    outcome.result = products.result;
    return outcome;
}

// With "missing", only the products that are not in the list yet.
Outcome RecordProducts(const QStringList& words, Report&)
{
    Outcome outcome;
    const bool onlyMissing = words.value(0) == QLatin1String("missing");
    const QJsonObject input = ReadInput();
    for (const QJsonValue value : input[QLatin1String("products")].toArray()) {
        const QJsonObject product = value.toObject();
        CAppInfo info = InfoOf(product);
        if (!info.IsValid()
            || (onlyMissing && IsRecorded(product[QLatin1String("serial")].toInt())))
            continue;
        if (!info.AddAppToDatabase())
            outcome.code = AgentError::CannotWrite;
    }
    BroadcastMenuChange();
    return outcome;
}

Outcome FetchUpdates(const QStringList&, Report& report)
{
    Outcome outcome;
    QStringList names;
    bool answered = false;
    RunToItsEnd(new UpdatesRequest(names, answered), outcome);
    if (!answered)
        return outcome;
    // Without current lists nobody knows what is up to date.
    outcome = BringSourcesUpToDate(Refresh::Always, report);
    outcome.result = { { QStringLiteral("packages"), QJsonArray::fromStringList(names) } };
    return outcome;
}

Outcome NoteUpdate(const QStringList&, Report&)
{
    Outcome outcome;
    CConfigFile settings(SystemPath(std::string("/etc/pakmartd.conf")), false);
    if (!settings.SetValue("DateOfLastUpdate", funky_date_str(), true))
        outcome.code = AgentError::CannotWrite;
    settings.Close();
    return outcome;
}
