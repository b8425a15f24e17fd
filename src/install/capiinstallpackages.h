// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CAPIInstallPackages
/// An install from start to end.
///
/// For products, the application information is fetched first; then the packages
/// and what they depend on are worked out, the listener is asked whether to go
/// on, the package front end runs, the applications are recorded and the box
/// that tells the outcome is shown. The object asks the server by requests of
/// its own and ends, like every request, by destroying itself:
///
///     std::vector<long> serials {1001};
///     auto* install = new CAPIInstallPackages(listener, serials, false);
///     install->Execute(); // returns when all is over; do not touch `install`
///
/// The listener is any QObject that has the slots it cares for; it is not owned
/// and may be null. It is connected by name, and hears:
///
/// | slot of the listener | when |
/// |---|---|
/// | onPreInstallInformation(const std::string&) | before each step: what is going on |
/// | onCanContinue(int, bool&) | the number of package files is known; may say no |
/// | onBeginInstall() | the front end is about to start |
/// | onReceivedPackageNames(const AptGetPackages&) | what will be installed |
/// | onReceivedTotalBytes(const std::string&) | how much is downloaded, as text |
/// | onBeginReceivePackage(const std::string&, const std::string&) | a download begins: name, size |
/// | onReceivePackagePulse(int, int) | progress: percent of the item, percent of the whole |
/// | onEndReceivePackage(const std::string&) | the download of that package has ended |
/// | onBeginInstall(const std::string&) | a package is set up |
/// | onEndInstall(bool) | the front end has ended: whether it went well |
///
/// docs/guide.md tells in which order these and the signals come.

#pragma once

#include "../catalog/cappinfo.h"
#include "../request/capi.h"
#include "crunaptget.h"
#include "packagelists.h"

#include <QPointer>
#include <memory>
#include <vector>

class CAPIDownloadAppInfo;
class CAPIGetPackageInfo;
namespace Agent
{
class TreeLock;
}

class VANTRELAGENT_EXPORT CAPIInstallPackages : public CAPI
{
    Q_OBJECT

public:
    /// Installs products, by their serial numbers on the server. `bSilent`: no
    /// boxes. The private tree is emptied.
    CAPIInstallPackages(QObject* listener, std::vector<long>& serials, bool bSilent);
    /// Installs packages, by name; there is no application information then, and so
    /// nothing to record and no box on success. Without names the server is asked
    /// for information about no product.
    CAPIInstallPackages(QObject* listener, PackageNameArray& names, bool bSilent);
    /// Removes the file with the application information and empties the private
    /// tree.
    ~CAPIInstallPackages() override;

    /// True when the sequence was started, and then it has ended on return;
    /// false when it could not start or gave up at once. The object is gone
    /// either way.
    bool Execute() override;

    /// Ends the install as a failure that is not shown: whatever step is under way is
    /// ended, and Execute returns. False, with nothing done, when CanCancel is. The
    /// object may be gone when this returns.
    bool Cancel();
    /// Whether the install can be cancelled now: from Execute on until the package
    /// tools begin to unpack.
    bool CanCancel() const;
    /// Whether the install is refused where it would wait for another one, which works
    /// on the same private tree; false at first. For Execute.
    void RefuseWhenBusy(bool refuse) { m_bRefuseWhenBusy = refuse; }

signals:
    /// What is going on before anything is installed, as a text for the user.
    void signalPreInstallInformation(const std::string& text);
    /// The package front end is about to be started.
    void signalBeginInstall();
    /// `count` package files are needed; a listener may clear `canContinue`.
    void signalCanContinue(int count, bool& canContinue);
    /// All that the front end said.
    void signalAptGetReport(AptGetMessages& report);
    /// A listener may clear `add`: the new applications are not recorded then. Also
    /// for those that are installed already and are not in the recently-used list.
    void signalCanAddToNewStuff(PackageNameArray& names, bool& add);
    /// The outcome; true also when the listener declined.
    void signalBuildErrorReport(bool success);
    /// The install waits for another program's: a text for the user that names it.
    /// signalPreInstallInformation says the same where that is before the install.
    void signalWaitingFor(const std::string& text);

public slots:
    /// Does nothing: the object itself transfers nothing.
    void onSuccessfulTransfer(QDomElement* pElement) override;
    /// Starts the request for the package information. False when it gave up at
    /// once; this object may be gone then.
    virtual bool CalculateDependencies();
    /// Runs the front end, unless there are no names or the listener declined,
    /// tells the outcome and shows it.
    virtual void InstallPackages();
    /// Goes on from the application information to the packages, or gives up.
    virtual void onAppInfoComplete(bool ok);
    /// Keeps the name of the file with the application information.
    virtual void onAppInfoDestinationFile(const QFile& file);
    /// Goes on from the package information to the install, or tells that there is
    /// none; then destroys the object.
    virtual void onDependencyComplete(bool ok);
    /// Asks the listener whether to go on.
    virtual void onPackageCount(int count);
    /// Keeps the repositories that serve the packages.
    virtual void onPackageURLs(PackageNameArray urls);
    /// Tells what the front end said and shows the errors.
    virtual void onDependencyErrors(AptGetMessages& errors, AptGetMessages& report);

protected:
    /// The requests that the sequence consists of, which own themselves; null when
    /// one cannot be made.
    /// @{
    virtual CAPIDownloadAppInfo* MakeAppInfoRequest();
    virtual CAPIGetPackageInfo* MakePackageInfoRequest();
    /// @}

private:
    void EmptyTree();
    bool Begin();
    bool RefuseAtOnce(AgentError::Code code, const QString& text);
    bool TakeTree();
    void EndTransaction();
    void EndCancelled();
    bool StartSequence(QString& failure);
    void Follow(CAPI* step);
    void ReportRun();
    void ConnectListener();
    void TellPreparing();
    bool RequestAppInfo(QString& failure);
    void GiveUp(const QString& text, const char* log);
    QString RecordApplications(QString& program);
    void RecordForgotten();
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
    std::unique_ptr<Agent::TreeLock> m_tree;
    QPointer<CAPI> m_pStep; // the request that is under way
    bool m_bUnderWay = false; // between Execute and the end of the front end
    bool m_bRunning = false; // the front end has been started
    bool m_bCancelled = false;
    bool m_bRefuseWhenBusy = false;
};
