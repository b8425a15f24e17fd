// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/openjob.h"

#include "base/dpkgstatus.h"
#include "db/catalogscan.h"
#include "db/dbshared.h"
#include "host/beside.h"
#include "host/models/recentlist.h"
#include "host/ownedprogram.h"
#include "host/workerrun.h"
#include "util/paths.h"
#include "util/showntext.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <algorithm>

using namespace Agent;

namespace Pakmart
{

namespace
{

struct Found {
    Failure failure;
    QString program; // without the private root
};

// The package of a product, according to the catalog; empty if it is not in there.
QString PackageOf(int serial)
{
    CatalogScan scan;
    while (scan && scan.Next())
        if (scan.ServerSerialNumber() == serial)
            return QString::fromUtf8(scan.PackageName());
    return QString();
}

QString RecordedProgram(int serial)
{
    const UsedList list = ReadUsed(RecentFolder());
    const auto item = std::find_if(list.items.begin(), list.items.end(),
                                   [serial](const Used& used) { return used.serial == serial; });
    return item == list.items.end() ? QString() : item->program;
}

// For any thread.
Found FindProgram(int serial)
{
    const auto tr = [](const char* text) { return QCoreApplication::translate("Pakmart", text); };
    Found found;
    const QString package = PackageOf(serial);
    const QString program = RecordedProgram(serial);
    const DpkgStatus status(SystemPath(std::string("/var/lib/dpkg")));
    if (package.isEmpty())
        found.failure = { Error::UnknownProduct,
                          tr(QT_TRANSLATE_NOOP("Pakmart",
                                               "The catalog does not have this product, "
                                               "so its package is not known.")) };
    else if (!status.IsReadable())
        found.failure = { Error::StatusUnreadable, QString() };
    else if (status.Of(package.toStdString()).IsGone())
        found.failure
            = { Error::NotInstalled,
                tr(QT_TRANSLATE_NOOP("Pakmart", "%1 is not installed.")).arg(ShownLine(package)) };
    else if (program.isEmpty())
        found.failure = { Error::NoProgram, QString() };
    else if (!IsProgramOf({ package }, program))
        found.failure = { Error::NoProgram,
                          tr(QT_TRANSLATE_NOOP("Pakmart", "The package %1 has no program %2."))
                              .arg(ShownLine(package), ShownLine(program)) };
    else
        found.program = program;
    return found;
}

} // namespace

class OpenJob::Private
{
public:
    explicit Private(int number) : serial(number) { }

    const int serial;
    QString program;
    bool isRecorded = false;
    std::unique_ptr<QObject> search; // goes with a search that nobody waits for
    std::unique_ptr<WorkerRun> notes;
};

OpenJob::OpenJob(int serial, QObject* parent) : Job(parent), d(std::make_unique<Private>(serial))
{
    setDefaultTitle(QCoreApplication::translate("Pakmart", "Open an application"));
}

OpenJob::~OpenJob() = default;

QString OpenJob::program() const
{
    return d->program;
}

bool OpenJob::isRecorded() const
{
    return d->isRecorded;
}

bool OpenJob::isProgramOf(const QStringList& packages, const QString& path)
{
    return IsProgramOf(packages, path);
}

void OpenJob::run()
{
    setPhase(Checking);
    if (hasEnded())
        return;
    d->search = std::make_unique<QObject>();
    const auto found = std::make_shared<Found>();
    RunBeside(
        d->search.get(), [found, serial = d->serial] { *found = FindProgram(serial); },
        [this, found] {
            if (isCancelled())
                fail(Error::Cancelled);
            else if (found->failure.code != Error::NoError)
                fail(found->failure.code, found->failure.sentence);
            else
                launch(found->program);
        });
}

// What is started does not write among the host's lines, and is no child of the host.
void OpenJob::launch(const QString& program)
{
    QProcess process;
    process.setProgram(SystemPath(program));
    process.setWorkingDirectory(QDir::homePath());
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    if (!process.startDetached()) {
        setDetails(process.errorString());
        fail(Error::NoProgram,
             QCoreApplication::translate("Pakmart", "The program %1 cannot be started.")
                 .arg(ShownLine(program)));
        return;
    }
    d->program = program;
    note();
}

// A list that cannot be written is no reason to say that the program was not started.
void OpenJob::note()
{
    setCancellable(false);
    if (hasEnded())
        return;
    d->notes = std::make_unique<WorkerRun>();
    connect(d->notes.get(), &WorkerRun::ended, this, &OpenJob::onNoted);
    d->notes->start({ QStringLiteral("note-use"), QString::number(d->serial) });
}

void OpenJob::onNoted()
{
    d->isRecorded = d->notes->failure().code == Error::NoError;
    WorkerRun::letGo(std::move(d->notes));
    succeed();
}

// The search takes moments, and its end ends the job.
void OpenJob::stop() { }

void OpenJob::letGo()
{
    d->search.reset();
    WorkerRun::letGo(std::move(d->notes));
}

} // namespace Pakmart
