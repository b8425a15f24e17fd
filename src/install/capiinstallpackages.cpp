// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "install/capiinstallpackages.h"

#include "base/dpkgstatus.h"
#include "base/text.h"
#include "catalog/capidownloadappinfo.h"
#include "db/crufile.h"
#include "db/dbshared.h"
#include "install/capigetpackageinfo.h"
#include "install/cdlginstallcomplete.h"
#include "install/privatetree.h"
#include "support/ctracer.h"
#include "util/desktop.h"
#include "util/paths.h"
#include "util/standardoutput.h"
#include "util/translated.h"

#include <QApplication>
#include <QPointer>
#include <new>
#include <unistd.h>
#include <utility>

using namespace Agent;

namespace
{

// The text of the box after a failure: a heading and the error lines below it.
QString FailureText(const AptGetMessages& errors)
{
    QString text = Translated("Pakmart failed to install this product.\n\n");
    for (const std::string& line : errors)
        text += QLatin1Char('\n') + QString::fromStdString(line);
    return text;
}

// Whether a product is installed according to dpkg, but not in the list.
bool IsForgotten(const CAppInfo& info)
{
    const DpkgStatus dpkg(SystemPath(std::string("/var/lib/dpkg")));
    if (info.Count() == 0 || !info.IsValid()
        || !dpkg.Of(info.PackageName().toStdString()).IsInstalled())
        return false;
    const IndexLayer layer;
    CRUFile list;
    return list.OpenOrRepair()
        && !list.FindServerSerialNumber(LeadingNumber(info.ServerSerialNumber().toStdString()));
}

} // namespace

class CAPIInstallPackages::Private
{
public:
    explicit Private(QObject* listener) : m_pListener(listener) { }

    QObject* const m_pListener;
    std::vector<long> m_serials;
    std::vector<CAppInfo> m_appInfos;
    QString m_sAppInfoFile;
    PackageNameArray m_packageNames;
    PackageNameArray m_packageURLs;
    CRunAptGet m_runner;
    bool m_bCanContinue = true;
    TreeLock m_tree{ CRunAptGet::m_sAptGetDir };
    QPointer<CAPI> m_pStep; // the request that is under way
    bool m_bUnderWay = false; // between Execute and the end of the front end
    bool m_bRunning = false; // the front end has been started
    bool m_bCancelled = false;
    bool m_bRefuseWhenBusy = false;
};

CAPIInstallPackages::CAPIInstallPackages(QObject* listener, std::vector<long>& serials,
                                         bool bSilent)
    : CAPI(bSilent, false, true), d(std::make_unique<Private>(listener))
{
    d->m_serials = serials;
    CTracer tracer("CAPIInstallPackages::CAPIInstallPackages(1)");
    ConnectListener();
    EmptyTree();
}

CAPIInstallPackages::CAPIInstallPackages(QObject* listener, PackageNameArray& names, bool bSilent)
    : CAPI(bSilent, false, true), d(std::make_unique<Private>(listener))
{
    d->m_packageNames = names;
    CTracer tracer("CAPIInstallPackages::CAPIInstallPackages(2)");
    ConnectListener();
    EmptyTree();
}

CAPIInstallPackages::~CAPIInstallPackages()
{
    CTracer tracer("CAPIInstallPackages::~CAPIInstallPackages");
    if (!d->m_sAppInfoFile.isEmpty() && CAPI::CanDeleteAPIFile())
        QFile::remove(d->m_sAppInfoFile);
    EmptyTree();
    WriteLine(QStringLiteral("returning from ~CAPIInstallPackages"));
}

void CAPIInstallPackages::RefuseWhenBusy(bool refuse)
{
    d->m_bRefuseWhenBusy = refuse;
}

// Removes the lists of an install from the private tree, unless another install uses it.
void CAPIInstallPackages::EmptyTree()
{
    const bool ours = d->m_tree.IsTaken();
    const bool usable = TreeProblem(CRunAptGet::m_sAptGetDir).empty();
    if (usable && !d->m_tree.TryTake())
        return;
    CAPIGetPackageInfo::DeleteTempLists(d->m_packageURLs);
    if (!ours)
        d->m_tree.Release();
}

// Boxes shown after this may stay open for long; other installs can go on.
void CAPIInstallPackages::EndTransaction()
{
    if (!d->m_tree.IsTaken())
        return;
    EmptyTree();
    d->m_tree.Release();
}

// By name, so that any QObject can listen.
void CAPIInstallPackages::ConnectListener()
{
    CTracer tracer("CAPIInstallPackages::ConnectListener");
    connect(&d->m_runner, &CRunAptGet::signalWaitingFor, this,
            &CAPIInstallPackages::signalWaitingFor);
    if (!d->m_pListener)
        return;
    const auto pass = [this](const QObject* sender, const char* signal, const char* slot) {
        connect(sender, signal, d->m_pListener, slot);
    };
    pass(this, SIGNAL(signalCanContinue(int, bool&)), SLOT(onCanContinue(int, bool&)));
    pass(this, SIGNAL(signalPreInstallInformation(std::string)),
         SLOT(onPreInstallInformation(std::string)));
    pass(this, SIGNAL(signalBeginInstall()), SLOT(onBeginInstall()));
    pass(&d->m_runner, SIGNAL(signalReceivedPackageNames(AptGetPackages)),
         SLOT(onReceivedPackageNames(AptGetPackages)));
    pass(&d->m_runner, SIGNAL(signalReceivedTotalBytes(std::string)),
         SLOT(onReceivedTotalBytes(std::string)));
    pass(&d->m_runner, SIGNAL(signalBeginReceivePackage(std::string, std::string)),
         SLOT(onBeginReceivePackage(std::string, std::string)));
    pass(&d->m_runner, SIGNAL(signalEndReceivePackage(std::string)),
         SLOT(onEndReceivePackage(std::string)));
    pass(&d->m_runner, SIGNAL(signalBeginInstall(std::string)), SLOT(onBeginInstall(std::string)));
    pass(&d->m_runner, SIGNAL(signalEndInstall(bool)), SLOT(onEndInstall(bool)));
    pass(&d->m_runner, SIGNAL(signalPackagePulse(int, int)), SLOT(onReceivePackagePulse(int, int)));
}

void CAPIInstallPackages::TellPreparing()
{
    emit signalPreInstallInformation("Preparing to download product...");
}

// The steps: take the private tree, request the application information of the products
// (skipped if the packages are given by name), list the files that the packages need and ask
// the host whether to continue, fetch the indexes of these files, and run the front end. Each
// step starts the next from the slot of its end. Every callback and wait may destroy this
// object, hence the guards.
bool CAPIInstallPackages::Execute()
{
    CTracer tracer("CAPIInstallPackages::Execute");
    if (!Begin())
        return false;
    const QPointer<CAPIInstallPackages> alive(this);
    QString failure = Translated("There was an error installing this product.");
    const bool started = StartSequence(failure);
    // A request that gives up at once destroys this object, which has then emitted its
    // end.
    if (!alive)
        return started;
    if (!started && d->m_bCancelled) {
        EndCancelled();
        return false;
    }
    if (!started) {
        EndTransaction();
        emit ErroneousTransfer(failure);
        delete this;
        return false;
    }
    if (m_bWaitForDone)
        WaitForDone();
    return true;
}

// Takes the private tree. False when the install cannot begin: the object is gone
// then.
bool CAPIInstallPackages::Begin()
{
    const std::string problem = TreeProblem(CRunAptGet::m_sAptGetDir);
    if (!problem.empty())
        return RefuseAtOnce(AgentError::BadHomeFolder, QString::fromStdString(problem));
    if (APILocked(this))
        return RefuseAtOnce(AgentError::Locked, LockedText());
    d->m_bUnderWay = true;
    return TakeTree();
}

bool CAPIInstallPackages::RefuseAtOnce(AgentError::Code code, const QString& text)
{
    SetFailure(code, text);
    m_bSucceeded = false;
    emit ErroneousTransfer(text);
    delete this;
    return false;
}

bool CAPIInstallPackages::TakeTree()
{
    const QPointer<CAPIInstallPackages> alive(this);
    const auto giveUp
        = [alive] { return !alive || alive->d->m_bCancelled || alive->d->m_bRefuseWhenBusy; };
    const auto say = [this](const std::string& text) {
        if (d->m_bRefuseWhenBusy)
            return;
        emit signalPreInstallInformation(text);
        emit signalWaitingFor(text);
    };
    const bool taken = d->m_tree.Take(say, giveUp);
    if (!alive)
        return false;
    if (!taken && d->m_bCancelled) {
        EndCancelled();
        return false;
    }
    if (!taken)
        return RefuseAtOnce(AgentError::LockHeld, QString::fromStdString(d->m_tree.BusyText()));
    // An install that was killed since this object was made left its lists behind.
    if (access(CRunAptGet::SourcesFile(false).c_str(), F_OK) == 0
        || access(CRunAptGet::ListsDir(false).c_str(), F_OK) == 0)
        EmptyTree();
    return true;
}

bool CAPIInstallPackages::StartSequence(QString& failure)
{
    return d->m_packageNames.empty() ? RequestAppInfo(failure) : CalculateDependencies();
}

bool CAPIInstallPackages::CanCancel() const
{
    return d->m_bUnderWay && (!d->m_bRunning || d->m_runner.CanCancel());
}

// Ends the current step. Its end arrives in the usual slot, which then ends the install.
bool CAPIInstallPackages::Cancel()
{
    CTracer tracer("CAPIInstallPackages::Cancel");
    if (!CanCancel())
        return false;
    d->m_bCancelled = true;
    if (d->m_bRunning)
        d->m_runner.Cancel();
    else if (auto* info = qobject_cast<CAPIGetPackageInfo*>(d->m_pStep))
        info->Cancel();
    else if (d->m_pStep)
        d->m_pStep->CancelTransfer();
    return true;
}

void CAPIInstallPackages::EndCancelled()
{
    d->m_bUnderWay = false;
    m_bSucceeded = false;
    SetFailure(AgentError::Cancelled);
    emit signalBuildErrorReport(false);
    delete this;
}

// The reason of a failed step becomes that of the install.
void CAPIInstallPackages::Follow(CAPI* step)
{
    d->m_pStep = step;
    connect(step, &CAPI::signalFailure, this,
            [this](AgentError::Code code, const QString& sentence, const QString& details) {
                SetFailure(code, sentence, details);
            });
}

bool CAPIInstallPackages::RequestAppInfo(QString& failure)
{
    CAPIDownloadAppInfo* request = MakeAppInfoRequest();
    if (!request) {
        failure = Translated("There was a memory allocation error while attempting to request "
                             "information from the VantrelNet server");
        return false;
    }
    connect(request, &CAPI::APIComplete, this, &CAPIInstallPackages::onAppInfoComplete);
    connect(request, &CAPI::APIDestinationFile, this,
            &CAPIInstallPackages::onAppInfoDestinationFile);
    TellPreparing();
    if (d->m_bCancelled) {
        disconnect(request, nullptr, this, nullptr);
        delete request;
        return false;
    }
    Follow(request);
    return request->Execute();
}

CAPIDownloadAppInfo* CAPIInstallPackages::MakeAppInfoRequest()
{
    return new (std::nothrow) CAPIDownloadAppInfo(d->m_serials, m_bSilent);
}

void CAPIInstallPackages::onAppInfoDestinationFile(const QFile& file)
{
    CTracer tracer("CAPIInstallPackages::onAppInfoDestinationFile");
    d->m_sAppInfoFile = file.fileName();
}

void CAPIInstallPackages::onAppInfoComplete(bool ok)
{
    CTracer tracer("CAPIInstallPackages::onAppInfoComplete");
    if (d->m_bCancelled) {
        EndCancelled();
        return;
    }
    const QString failure = Translated("Pakmart encountered an error while requesting some "
                                       "information from the VantrelNet server.");
    if (!ok) {
        GiveUp(failure, "CAPIInstallPackages - failed to retrieve app info");
        return;
    }
    TellPreparing();
    if (!CAppInfo::BuildApplicationInformation(d->m_appInfos, d->m_sAppInfoFile)) {
        SetFailure(AgentError::ReplyNotUnderstood, failure);
        GiveUp(failure, "CAPIInstallPackages - grammatical error in app info");
        return;
    }
    for (const CAppInfo& info : d->m_appInfos)
        d->m_packageNames.push_back(info.PackageName().toStdString());
    const QPointer<CAPIInstallPackages> alive(this);
    const bool started = CalculateDependencies();
    if (started || !alive)
        return;
    if (d->m_bCancelled)
        EndCancelled();
    else
        delete this;
}

void CAPIInstallPackages::GiveUp(const QString& text, const char* log)
{
    EndTransaction();
    emit ErroneousTransfer(text);
    delete this;
    WriteLine(std::string(log));
}

bool CAPIInstallPackages::CalculateDependencies()
{
    CTracer tracer("CAPIInstallPackages::CalculateDependencies");
    CAPIGetPackageInfo* request = MakePackageInfoRequest();
    if (!request) {
        emit ErroneousTransfer(
            Translated("There was a memory allocation error while attempting to request "
                       "information from the VantrelNet."));
        return false;
    }
    connect(request, &CAPI::APIComplete, this, &CAPIInstallPackages::onDependencyComplete);
    connect(request, &CAPIGetPackageInfo::signalPackageURLs, this,
            &CAPIInstallPackages::onPackageURLs);
    connect(request, &CAPIGetPackageInfo::signalPackageCount, this,
            &CAPIInstallPackages::onPackageCount);
    connect(request, &CAPIGetPackageInfo::signalDependencyErrors, this,
            &CAPIInstallPackages::onDependencyErrors);
    TellPreparing();
    if (d->m_bCancelled) {
        disconnect(request, nullptr, this, nullptr);
        delete request;
        return false;
    }
    Follow(request);
    request->SetHasTree(d->m_tree.IsTaken());
    const QPointer<CAPIInstallPackages> alive(this);
    const bool started = request->Execute();
    if (alive && !started)
        m_bSucceeded = false;
    return started;
}

CAPIGetPackageInfo* CAPIInstallPackages::MakePackageInfoRequest()
{
    return new (std::nothrow) CAPIGetPackageInfo(d->m_packageNames, m_bSilent);
}

void CAPIInstallPackages::onPackageURLs(PackageNameArray urls)
{
    CTracer tracer("CAPIInstallPackages::onPackageURLs");
    d->m_packageURLs = std::move(urls);
}

void CAPIInstallPackages::onPackageCount(int count)
{
    CTracer tracer("CAPIInstallPackages::onPackageCount");
    emit signalCanContinue(count, d->m_bCanContinue);
}

void CAPIInstallPackages::onDependencyErrors(AptGetMessages& errors, AptGetMessages& report)
{
    CTracer tracer("CAPIInstallPackages::onDependencyErrors");
    d->m_bUnderWay = false;
    emit signalAptGetReport(report);
    for (const std::string& line : errors)
        tracer.trace_out(line);
    ShowInstallDialog(FailureText(errors), report, false, QString());
}

void CAPIInstallPackages::onDependencyComplete(bool ok)
{
    CTracer tracer("CAPIInstallPackages::onDependencyComplete");
    if (d->m_bCancelled) {
        EndCancelled();
        return;
    }
    if (ok) {
        TellPreparing();
        InstallPackages();
    } else {
        d->m_bUnderWay = false;
        m_bSucceeded = false;
        if (Failure() == AgentError::NothingToDo)
            RecordForgotten();
        emit signalBuildErrorReport(false);
    }
    delete this;
}

void CAPIInstallPackages::InstallPackages()
{
    CTracer tracer("CAPIInstallPackages::InstallPackages");
    if (d->m_packageNames.empty() || !d->m_bCanContinue) {
        d->m_bUnderWay = false;
        SetFailure(d->m_bCanContinue ? AgentError::NothingToDo : AgentError::Declined);
        emit signalBuildErrorReport(true);
        return;
    }
    emit signalBeginInstall();
    std::string names;
    for (const std::string& name : d->m_packageNames)
        names += name + ' ';
    if (!d->m_bCancelled) {
        d->m_bRunning = true;
        d->m_runner.SetHasTree(d->m_tree.IsTaken());
        m_bSucceeded = d->m_runner.Run('A', names, false, false) == 0;
        SetFailure(d->m_runner.Failure(), d->m_runner.FailureSentence(),
                   d->m_runner.FailureDetails());
        d->m_bCancelled = d->m_runner.WasCancelled() && !m_bSucceeded;
    }
    d->m_bUnderWay = false;
    if (d->m_bCancelled) {
        m_bSucceeded = false;
        SetFailure(AgentError::Cancelled);
    }
    ReportRun();
}

// Reports how the run of the front end ended. A cancelled run shows no box.
void CAPIInstallPackages::ReportRun()
{
    AptGetMessages messages = d->m_runner.Messages();
    emit signalAptGetReport(messages);
    emit signalBuildErrorReport(m_bSucceeded);
    if (d->m_bCancelled)
        return;
    QString text, program;
    if (m_bSucceeded) {
        text = RecordApplications(program);
    } else {
        d->m_runner.writeFailedAptGetToFile();
        text = FailureText(d->m_runner.Errors());
    }
    if (!text.isEmpty())
        ShowInstallDialog(text, messages, m_bSucceeded, program);
}

// Records the new applications and returns the completion text; `program`
// becomes the path of the first that can be started. Does nothing if the listener does
// not want them recorded.
QString CAPIInstallPackages::RecordApplications(QString& program)
{
    bool add = true;
    emit signalCanAddToNewStuff(d->m_packageNames, add);
    QString text;
    if (!add)
        return text;
    for (CAppInfo& info : d->m_appInfos) {
        if (info.IsValid()) {
            WriteLine(QLatin1String("adding '") + info.FriendlyName()
                      + QLatin1String("' to NewStuff"));
            info.AddAppToDatabase();
        }
        if (!text.isEmpty())
            text += QLatin1String("\n\n");
        QString name, icon, path;
        info.GetAppInfo(name, text, icon, path);
        if (program.isEmpty())
            program = path;
    }
    BroadcastMenuChange();
    return text;
}

// Records the applications of products that are already installed but not in the list:
// an install that was killed after dpkg's work did not get that far.
void CAPIInstallPackages::RecordForgotten()
{
    std::vector<CAppInfo*> forgotten;
    PackageNameArray names;
    for (CAppInfo& info : d->m_appInfos) {
        if (!IsForgotten(info))
            continue;
        forgotten.push_back(&info);
        names.push_back(info.PackageName().toStdString());
    }
    bool add = !names.empty();
    if (add)
        emit signalCanAddToNewStuff(names, add);
    if (!add)
        return;
    for (CAppInfo* info : forgotten)
        info->AddAppToDatabase();
    BroadcastMenuChange();
}

void CAPIInstallPackages::ShowInstallDialog(const QString& text, const PackageNameArray& log,
                                            bool success, const QString& program)
{
    CTracer tracer("CAPIInstallPackages::ShowInstallDialog");
    // A process without windows gets the texts by signals.
    if (m_bSilent || !qobject_cast<QApplication*>(QCoreApplication::instance()))
        return;
    EndTransaction();
    CDlgInstallComplete dialog(nullptr, "pDlgInstall", text.toUtf8().constData(), log, success,
                               program);
    dialog.exec();
}

void CAPIInstallPackages::onSuccessfulTransfer(QDomElement*)
{
    CTracer tracer("CAPIInstallPackages::onSuccessfulTransfer");
}
