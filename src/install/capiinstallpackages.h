// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// An install from start to end.
//
// For products, the application information is fetched first; then the packages
// and what they depend on are worked out, the listener is asked whether to go
// on, the package front end runs, the applications are recorded and the box
// that tells the outcome is shown. The object asks the server by requests of
// its own and ends, like every request, by destroying itself:
//
//     std::vector<long> serials {1001};
//     auto* install = new CAPIInstallPackages(listener, serials, false);
//     install->Execute(); // returns when all is over; do not touch `install`
//
// The listener is any QObject that has the slots it cares for; it is not owned
// and may be null:
//
//     onPreInstallInformation(const std::string &)    what is going on
//     onCanContinue(int, bool &)      the number of package files; may say no
//     onBeginInstall()                                the front end starts
//     onReceivedPackageNames(const AptGetPackages &)  what will be installed
//     onReceivedTotalBytes(const std::string &)       how much is downloaded
//     onBeginReceivePackage(const std::string &, const std::string &)  name, size
//     onReceivePackagePulse(int, int) percent of the item, percent of the whole
//     onEndReceivePackage(const std::string &)
//     onBeginInstall(const std::string &)             a package is set up
//     onEndInstall(const bool)                        the front end has ended

#pragma once

#include "../catalog/cappinfo.h"
#include "../request/capi.h"
#include "crunaptget.h"
#include "packagelists.h"

#include <vector>

class CAPIDownloadAppInfo;
class CAPIGetPackageInfo;

class VANTRELAGENT_EXPORT CAPIInstallPackages : public CAPI
{
    Q_OBJECT

public:
    // Installs products, by their serial numbers on the server.
    CAPIInstallPackages(QObject* listener, std::vector<long>& serials, bool bSilent);
    // Installs packages, by name; there is no application information then.
    CAPIInstallPackages(QObject* listener, PackageNameArray& names, bool bSilent);
    ~CAPIInstallPackages() override;

    // True when the sequence was started, and then it has ended on return;
    // false when it could not start or gave up at once. The object is gone
    // either way.
    bool Execute() override;

signals:
    void signalPreInstallInformation(const std::string& text);
    void signalBeginInstall();
    // `count` package files are needed; a listener may clear `canContinue`.
    void signalCanContinue(int count, bool& canContinue);
    // All that the front end said.
    void signalAptGetReport(AptGetMessages& report);
    // A listener may clear `add`: the new applications are not recorded then.
    void signalCanAddToNewStuff(PackageNameArray& names, bool& add);
    // The outcome; true also when the listener declined.
    void signalBuildErrorReport(bool success);

public slots:
    void onSuccessfulTransfer(QDomElement* pElement) override;
    virtual bool CalculateDependencies();
    virtual void InstallPackages();
    virtual void onAppInfoComplete(bool ok);
    virtual void onAppInfoDestinationFile(const QFile& file);
    virtual void onDependencyComplete(bool ok);
    virtual void onPackageCount(int count);
    virtual void onPackageURLs(PackageNameArray urls);
    virtual void onDependencyErrors(AptGetMessages& errors, AptGetMessages& report);

protected:
    // The requests that the sequence consists of; null when one cannot be made.
    virtual CAPIDownloadAppInfo* MakeAppInfoRequest();
    virtual CAPIGetPackageInfo* MakePackageInfoRequest();

private:
    void ConnectListener();
    void TellPreparing();
    bool RequestAppInfo(QString& failure);
    void GiveUp(const QString& text, const char* log);
    QString RecordApplications(QString& program);
    void ShowInstallDialog(const QString& text, const PackageNameArray& log, bool success,
                           const QString& program);

    QObject* m_pListener;
    std::vector<long> m_serials;
    std::vector<CAppInfo> m_appInfos;
    QString m_sAppInfoFile;
    PackageNameArray m_packageNames;
    PackageNameArray m_packageURLs;
    CRunAptGet m_runner;
    bool m_bCanContinue = true;
};
