// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "install/capiinstallpackages.h"

#include "catalog/capidownloadappinfo.h"
#include "install/capigetpackageinfo.h"
#include "install/cdlginstallcomplete.h"
#include "support/ctracer.h"
#include "util/desktop.h"
#include "util/output.h"

#include <QPointer>
#include <new>
#include <utility>

namespace
{

// What the box says of a failure: a heading and the error lines below it.
QString FailureText(const AptGetMessages& errors)
{
    QString text = QStringLiteral("Pakmart failed to install this product.\n\n");
    for (const std::string& line : errors)
        text += QLatin1Char('\n') + QString::fromStdString(line);
    return text;
}

} // namespace

CAPIInstallPackages::CAPIInstallPackages(QObject* listener, std::vector<long>& serials,
                                         bool bSilent)
    : CAPI(bSilent, false, true), m_pListener(listener), m_serials(serials)
{
    CTracer tracer("CAPIInstallPackages::CAPIInstallPackages(1)");
    ConnectListener();
    CAPIGetPackageInfo::DeleteTempLists(m_packageURLs);
}

CAPIInstallPackages::CAPIInstallPackages(QObject* listener, PackageNameArray& names, bool bSilent)
    : CAPI(bSilent, false, true), m_pListener(listener), m_packageNames(names)
{
    CTracer tracer("CAPIInstallPackages::CAPIInstallPackages(2)");
    ConnectListener();
    CAPIGetPackageInfo::DeleteTempLists(m_packageURLs);
}

CAPIInstallPackages::~CAPIInstallPackages()
{
    if (!m_sAppInfoFile.isEmpty() && CAPI::CanDeleteAPIFile())
        QFile::remove(m_sAppInfoFile);
    CAPIGetPackageInfo::DeleteTempLists(m_packageURLs);
    WriteLine(QStringLiteral("returning from ~CAPIInstallPackages"));
}

// By name, so that any QObject can listen.
void CAPIInstallPackages::ConnectListener()
{
    if (!m_pListener)
        return;
    const auto pass = [this](const QObject* sender, const char* signal, const char* slot) {
        connect(sender, signal, m_pListener, slot);
    };
    pass(this, SIGNAL(signalCanContinue(int, bool&)), SLOT(onCanContinue(int, bool&)));
    pass(this, SIGNAL(signalPreInstallInformation(std::string)),
         SLOT(onPreInstallInformation(std::string)));
    pass(this, SIGNAL(signalBeginInstall()), SLOT(onBeginInstall()));
    pass(&m_runner, SIGNAL(signalReceivedPackageNames(AptGetPackages)),
         SLOT(onReceivedPackageNames(AptGetPackages)));
    pass(&m_runner, SIGNAL(signalReceivedTotalBytes(std::string)),
         SLOT(onReceivedTotalBytes(std::string)));
    pass(&m_runner, SIGNAL(signalBeginReceivePackage(std::string, std::string)),
         SLOT(onBeginReceivePackage(std::string, std::string)));
    pass(&m_runner, SIGNAL(signalEndReceivePackage(std::string)),
         SLOT(onEndReceivePackage(std::string)));
    pass(&m_runner, SIGNAL(signalBeginInstall(std::string)), SLOT(onBeginInstall(std::string)));
    pass(&m_runner, SIGNAL(signalEndInstall(bool)), SLOT(onEndInstall(bool)));
    pass(&m_runner, SIGNAL(signalPackagePulse(int, int)), SLOT(onReceivePackagePulse(int, int)));
}

void CAPIInstallPackages::TellPreparing()
{
    emit signalPreInstallInformation("Preparing to download product...");
}

bool CAPIInstallPackages::Execute()
{
    const QPointer<CAPIInstallPackages> alive(this);
    QString failure = QStringLiteral("There was an error installing this product.");
    const bool started = m_packageNames.empty() ? RequestAppInfo(failure) : CalculateDependencies();
    // A request that gives up at once takes this object with it, and the end has
    // been told then.
    if (!alive)
        return started;
    if (!started) {
        emit ErroneousTransfer(failure);
        delete this;
        return false;
    }
    if (m_bWaitForDone)
        WaitForDone();
    return true;
}

bool CAPIInstallPackages::RequestAppInfo(QString& failure)
{
    CAPIDownloadAppInfo* request = MakeAppInfoRequest();
    if (!request) {
        failure = QStringLiteral("There was a memory allocation error while attempting to request "
                                 "information from the VantrelNet server");
        return false;
    }
    connect(request, &CAPI::APIComplete, this, &CAPIInstallPackages::onAppInfoComplete);
    connect(request, &CAPI::APIDestinationFile, this,
            &CAPIInstallPackages::onAppInfoDestinationFile);
    TellPreparing();
    return request->Execute();
}

CAPIDownloadAppInfo* CAPIInstallPackages::MakeAppInfoRequest()
{
    return new (std::nothrow) CAPIDownloadAppInfo(m_serials, m_bSilent);
}

void CAPIInstallPackages::onAppInfoDestinationFile(const QFile& file)
{
    m_sAppInfoFile = file.fileName();
}

void CAPIInstallPackages::onAppInfoComplete(bool ok)
{
    const QString failure = QStringLiteral("Pakmart encountered an error while requesting some "
                                           "information from the VantrelNet server.");
    if (!ok) {
        GiveUp(failure, "CAPIInstallPackages - failed to retrieve app info");
        return;
    }
    TellPreparing();
    if (!CAppInfo::BuildApplicationInformation(m_appInfos, m_sAppInfoFile)) {
        GiveUp(failure, "CAPIInstallPackages - grammatical error in app info");
        return;
    }
    for (const CAppInfo& info : m_appInfos)
        m_packageNames.push_back(info.PackageName().toStdString());
    const QPointer<CAPIInstallPackages> alive(this);
    if (!CalculateDependencies() && alive)
        delete this;
}

void CAPIInstallPackages::GiveUp(const QString& text, const char* log)
{
    emit ErroneousTransfer(text);
    delete this;
    WriteLine(std::string(log));
}

bool CAPIInstallPackages::CalculateDependencies()
{
    CAPIGetPackageInfo* request = MakePackageInfoRequest();
    if (!request) {
        emit ErroneousTransfer(
            QStringLiteral("There was a memory allocation error while attempting to request "
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
    const QPointer<CAPIInstallPackages> alive(this);
    const bool started = request->Execute();
    if (alive && !started)
        m_bSucceeded = false;
    return started;
}

CAPIGetPackageInfo* CAPIInstallPackages::MakePackageInfoRequest()
{
    return new (std::nothrow) CAPIGetPackageInfo(m_packageNames, m_bSilent);
}

void CAPIInstallPackages::onPackageURLs(PackageNameArray urls)
{
    m_packageURLs = std::move(urls);
}

void CAPIInstallPackages::onPackageCount(int count)
{
    emit signalCanContinue(count, m_bCanContinue);
}

void CAPIInstallPackages::onDependencyErrors(AptGetMessages& errors, AptGetMessages& report)
{
    CTracer tracer("CAPIInstallPackages::onDependencyErrors");
    emit signalAptGetReport(report);
    for (const std::string& line : errors)
        tracer.trace_out(line);
    ShowInstallDialog(FailureText(errors), report, false, QString());
}

void CAPIInstallPackages::onDependencyComplete(bool ok)
{
    if (ok) {
        TellPreparing();
        InstallPackages();
    } else {
        m_bSucceeded = false;
        emit signalBuildErrorReport(false);
    }
    delete this;
}

void CAPIInstallPackages::InstallPackages()
{
    if (m_packageNames.empty() || !m_bCanContinue) {
        emit signalBuildErrorReport(true);
        return;
    }
    emit signalBeginInstall();
    std::string names;
    for (const std::string& name : m_packageNames)
        names += name + ' ';
    m_bSucceeded = m_runner.Run('A', names, false, false) == 0;

    AptGetMessages messages = m_runner.Messages();
    emit signalAptGetReport(messages);
    emit signalBuildErrorReport(m_bSucceeded);
    QString text, program;
    if (m_bSucceeded) {
        text = RecordApplications(program);
    } else {
        m_runner.writeFailedAptGetToFile();
        text = FailureText(m_runner.Errors());
    }
    if (!text.isEmpty())
        ShowInstallDialog(text, messages, m_bSucceeded, program);
}

// Records the new applications and returns the completion text; `program`
// becomes the path of the first that can be started. Nothing of it where the
// listener does not want them recorded.
QString CAPIInstallPackages::RecordApplications(QString& program)
{
    bool add = true;
    emit signalCanAddToNewStuff(m_packageNames, add);
    QString text;
    if (!add)
        return text;
    for (CAppInfo& info : m_appInfos) {
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

void CAPIInstallPackages::ShowInstallDialog(const QString& text, const PackageNameArray& log,
                                            bool success, const QString& program)
{
    if (m_bSilent)
        return;
    CDlgInstallComplete dialog(nullptr, "pDlgInstall", text.toUtf8().constData(), log, success,
                               program);
    dialog.exec();
}

void CAPIInstallPackages::onSuccessfulTransfer(QDomElement*) { }
