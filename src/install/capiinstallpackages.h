// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CAPIInstallPackages
/// An install from start to end.
///
/// For products, the application information is fetched first. Then the packages
/// and their dependencies are determined, the listener is asked whether to go on, the
/// package front end runs, the applications are recorded, and a box shows the outcome.
/// The object makes further requests to ask the server and, like every request, ends
/// by destroying itself:
///
///     std::vector<long> serials {1001};
///     auto* install = new CAPIInstallPackages(listener, serials, false);
///     install->Execute(); // returns when all is over; do not touch `install`
///
/// The listener is any QObject that has the slots it cares for; it is not owned
/// and may be null. Its slots are connected by name:
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
/// docs/guide.md lists the order of these slots and of the signals.

#pragma once

#include "../catalog/cappinfo.h"
#include "../request/capi.h"
#include "crunaptget.h"
#include "packagelists.h"

#include <memory>
#include <vector>

class CAPIDownloadAppInfo;
class CAPIGetPackageInfo;
class VANTRELAGENT_EXPORT CAPIInstallPackages : public CAPI
{
    Q_OBJECT

public:
    /// Installs products, by their serial numbers on the server. `bSilent`: no
    /// boxes. The private tree is emptied.
    CAPIInstallPackages(QObject* listener, std::vector<long>& serials, bool bSilent);
    /// Installs packages, by name; there is no application information, and therefore
    /// nothing to record and no box on success. If `names` is empty, the object requests
    /// application information with an empty list of products.
    CAPIInstallPackages(QObject* listener, PackageNameArray& names, bool bSilent);
    /// Removes the file with the application information and empties the private
    /// tree.
    ~CAPIInstallPackages() override;

    /// True when the install was started; it has then ended on return. False when
    /// it could not start or gave up at once. The object is gone in both cases.
    bool Execute() override;

    /// Ends the install as a failure without a box: the current step is ended, and
    /// Execute returns. Returns false and does nothing when CanCancel() is false. The
    /// object may be gone when this returns.
    bool Cancel();
    /// Whether the install can be cancelled now: from Execute on until the package
    /// tools begin to unpack.
    bool CanCancel() const;
    /// Whether Execute refuses to start, instead of waiting, while another install works
    /// on the same private tree; false by default.
    void RefuseWhenBusy(bool refuse);

signals:
    /// The current step before anything is installed, as a text for the user.
    void signalPreInstallInformation(const std::string& text);
    /// The package front end is about to be started.
    void signalBeginInstall();
    /// `count` package files are needed; a listener may clear `canContinue`.
    void signalCanContinue(int count, bool& canContinue);
    /// All output of the front end.
    void signalAptGetReport(AptGetMessages& report);
    /// A listener may clear `add`: the new applications are not recorded then. Also
    /// for those that are installed already and are not in the recently-used list.
    void signalCanAddToNewStuff(PackageNameArray& names, bool& add);
    /// The outcome; true also when the listener declined.
    void signalBuildErrorReport(bool success);
    /// The install waits for another program: a text for the user that names it.
    /// Before the install itself, signalPreInstallInformation carries the same text.
    void signalWaitingFor(const std::string& text);

public slots:
    /// Does nothing: the object makes no transfer of its own.
    void onSuccessfulTransfer(QDomElement* pElement) override;
    /// Starts the request for the package information. False when it gave up at
    /// once; this object may be gone then.
    virtual bool CalculateDependencies();
    /// Runs the front end, unless there are no names or the listener declined, then
    /// reports and shows the outcome.
    virtual void InstallPackages();
    /// Goes on from the application information to the packages, or gives up.
    virtual void onAppInfoComplete(bool ok);
    /// Keeps the name of the file with the application information.
    virtual void onAppInfoDestinationFile(const QFile& file);
    /// Goes on from the package information to the install, or reports that there is
    /// no install; then destroys the object.
    virtual void onDependencyComplete(bool ok);
    /// Asks the listener whether to go on.
    virtual void onPackageCount(int count);
    /// Keeps the repositories that serve the packages.
    virtual void onPackageURLs(PackageNameArray urls);
    /// Emits the front end's output and shows the errors.
    virtual void onDependencyErrors(AptGetMessages& errors, AptGetMessages& report);

protected:
    /// Make the requests of the install, which own themselves; null when one cannot
    /// be made.
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

    class Private;
    const std::unique_ptr<Private> d;
};
