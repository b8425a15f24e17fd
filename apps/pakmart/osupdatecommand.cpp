// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The update of the operating system, with the user's decisions.

#include "boxwatcher.h"
#include "commands.h"
#include "console.h"
#include "outcome.h"

#include <QDomElement>
#include <QJsonArray>
#include <QJsonObject>
#include <QPointer>
#include <vantrelagent/install/capigetosver.h>
#include <vantrelagent/install/capiinstallpackages.h>
#include <vantrelagent/util/urlcodec.h>

// The result of an update; it outlives the request.
struct OSUpdateRecord {
    bool succeeded = false; // the server has answered
    bool agent = false; // the agent itself was updated
    QStringList offered; // packages that the server names
    int files = -1; // package files needed; -1: unknown
    bool declined = false;
    bool installed = false; // according to the library
    bool toolsRan = false;
    QStringList errors; // of the package tools
    QPointer<CAPIInstallPackages> install; // while it runs
};

// The request. It has no meta-object of its own, so that the server gets the name of the
// base class.
class OSUpdate : public CAPIGetOSVer
{
public:
    OSUpdate(Console& display, const UpdateOptions& options, OSUpdateRecord& record);

    void onSuccessfulTransfer(QDomElement* pElement) override;
    void onCanContinue(int nPackages, bool& bCanContinue) override;
    void onCanAddToNewStuff(PackageNameArray& arPackages, bool& bAddToNewStuff) override;

private:
    bool goOn(int count);
    void hearErrors(const AptGetMessages& report);

    Console& m_display;
    const UpdateOptions m_options;
    OSUpdateRecord& m_record;
};

OSUpdate::OSUpdate(Console& display, const UpdateOptions& options, OSUpdateRecord& record)
    : CAPIGetOSVer(false), m_display(display), m_options(options), m_record(record)
{
    connect(this, &CAPIGetOSVer::signalUpdatedAgent, this, [&record](bool success, bool agent) {
        record.succeeded = success;
        record.agent = agent;
    });
}

void OSUpdate::onSuccessfulTransfer(QDomElement* pElement)
{
    const QString tag = QStringLiteral("package");
    for (QDomElement package = pElement->firstChildElement(tag); !package.isNull();
         package = package.nextSiblingElement(tag)) {
        const QString name = package.firstChildElement(QStringLiteral("name")).text();
        m_record.offered << url_decode(name).trimmed();
    }
    // Without current lists nobody knows what is up to date.
    const QString failure = RefreshSources(m_options.json ? nullptr : &m_display);
    if (failure.isEmpty())
        CAPIGetOSVer::onSuccessfulTransfer(pElement);
    else
        onErroneousTransfer(failure);
}

void OSUpdate::onCanContinue(int nPackages, bool& bCanContinue)
{
    m_record.files = nPackages;
    CAPIGetOSVer::onCanContinue(nPackages, bCanContinue);
    if (!bCanContinue)
        return;
    bCanContinue = goOn(nPackages);
    m_record.declined = !bCanContinue;
    m_record.install = qobject_cast<CAPIInstallPackages*>(sender());
    if (m_record.install)
        connect(m_record.install.data(), &CAPIInstallPackages::signalAptGetReport, this,
                &OSUpdate::hearErrors);
}

bool OSUpdate::goOn(int count)
{
    const QString files = count == 1 ? QStringLiteral("1 package file is")
                                     : QStringLiteral("%1 package files are").arg(count);
    if (!m_options.json)
        m_display.sayText(files + QStringLiteral(" needed."));
    if (Interrupt::received()
        || !(m_options.yes || m_display.ask(QStringLiteral("Update the system now?"))))
        return false;
    if (!m_options.json)
        m_display.activity(QStringLiteral("Updating the system"));
    return true;
}

void OSUpdate::hearErrors(const AptGetMessages& report)
{
    m_record.toolsRan = !report.empty();
    for (const std::string& line : report) {
        if (line.compare(0, 2, "E:") == 0)
            m_record.errors << QString::fromStdString(line);
    }
}

void OSUpdate::onCanAddToNewStuff(PackageNameArray& arPackages, bool& bAddToNewStuff)
{
    m_record.installed = true;
    CAPIGetOSVer::onCanAddToNewStuff(arPackages, bAddToNewStuff);
}

namespace
{

struct Change {
    QString package, from, to; // `from` is empty for a new package
};

QList<Change> Changes(const QMap<QString, QString>& before, const QMap<QString, QString>& after)
{
    QList<Change> changes;
    for (auto at = after.begin(); at != after.end(); ++at) {
        if (before.value(at.key()) != at.value())
            changes << Change{ at.key(), before.value(at.key()), at.value() };
    }
    return changes;
}

// Why an update that was needed did not happen; empty if none was needed.
QString Failure(const OSUpdateRecord& record)
{
    if (record.offered.isEmpty() || record.files == 0 || (record.installed && record.toolsRan))
        return QString();
    if (record.files > 0)
        return QStringLiteral("the update failed") + QLatin1Char('\n')
            + record.errors.join(QLatin1Char('\n'));
    return QStringLiteral("the packages of the update are not in the package sources, or cannot be "
                          "installed together");
}

void TellJson(Console& display, const QList<Change>& changes, bool agent)
{
    QJsonArray updated;
    for (const Change& change : changes) {
        updated << QJsonObject{ { QStringLiteral("package"), change.package },
                                { QStringLiteral("from"),
                                  change.from.isEmpty() ? QJsonValue() : change.from },
                                { QStringLiteral("to"), change.to } };
    }
    const QJsonObject all{ { QStringLiteral("updated"), updated },
                           { QStringLiteral("agent"), agent } };
    display.sayJson(all);
}

void Tell(Console& display, const QList<Change>& changes, bool agent)
{
    if (changes.isEmpty())
        display.sayText(QStringLiteral("The system is up to date."));
    for (const Change& change : changes) {
        display.sayText(change.from.isEmpty()
                            ? QStringLiteral("%1 %2 is new.").arg(change.package, change.to)
                            : QStringLiteral("%1 %2 is updated to %3.")
                                  .arg(change.package, change.from, change.to));
    }
    if (agent)
        display.sayText(QStringLiteral("The agent itself was updated: restart its programs."));
}

} // namespace

int OSUpdateCommand(Console& display, const BoxWatcher& boxes, const UpdateOptions& options)
{
    OSUpdateRecord record;
    if (!options.json)
        display.activity(QStringLiteral("Asking for updates of the system"));
    const QMap<QString, QString> before = InstalledVersions();
    const DpkgStatus statusBefore = ReadDpkgStatus();
    const Interrupt::Handler handler([&record] {
        if (record.install)
            record.install->Cancel();
    });
    (new OSUpdate(display, options, record))->Execute();
    const DpkgStatus now = ReadDpkgStatus();
    SayNewTrouble(display, record.offered, statusBefore, now);
    if (Interrupt::received())
        return ExitInterrupted;
    if (record.declined) {
        display.sayText(QStringLiteral("Nothing was updated."));
        return ExitDeclined;
    }
    const QString failure = Failure(record);
    if (!record.succeeded || !failure.isEmpty()) {
        // If the server did not answer, a box has already shown why.
        if (boxes.errors() == 0)
            display.complain(failure.isEmpty() ? QStringLiteral("the check for updates failed")
                                               : failure);
        return ExitFailed;
    }
    if (!record.offered.isEmpty() && !AreInstalled(display, record.offered, now))
        return ExitFailed;
    const QList<Change> changes = Changes(before, InstalledVersions());
    if (options.json)
        TellJson(display, changes, record.agent);
    else
        Tell(display, changes, record.agent);
    return ExitDone;
}
