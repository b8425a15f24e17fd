// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CAPIGetOSVer
/// Updates the packages of the operating system.
///
/// The server names the packages that have updates, and they are installed at
/// once, silently, by an install of their names (CAPIInstallPackages), which does not
/// record new applications. After a successful check, the current time is written as
/// "DateOfLastUpdate" into the package daemon's settings, "/etc/pakmartd.conf".
///
///     auto* update = new CAPIGetOSVer(false);
///     connect(update, &CAPIGetOSVer::signalUpdatedAgent, this, &Host::onUpdated);
///     update->Execute(); // returns when all is over; do not touch `update`
///
/// The check succeeded when the server answered; the outcome of the install is not
/// reported. A host that wants to ask the user, or to know more, overrides the two
/// questions of the installer and calls the ones here from its overrides. Such a class
/// must not have a Q_OBJECT, so that the server knows it by the name of this class.

#pragma once

#include "../request/capi.h"
#include "packagelists.h"

#include <memory>

class VANTRELAGENT_EXPORT CAPIGetOSVer : public CAPI
{
    Q_OBJECT

public:
    /// Silent or not; Execute waits until everything is done.
    explicit CAPIGetOSVer(bool bSilent);
    /// Writes the date, then emits signalUpdatedAgent, before APIComplete.
    ~CAPIGetOSVer() override;

    /// Installs the newest versions of these packages.
    void UpgradeOSPackages(PackageNameArray& arPackages);

public slots:
    /// The payload: elements "package", each with the element "name".
    void onSuccessfulTransfer(QDomElement* pElement) override;
    /// Whether to go on with this number of package files: only if it is not 0 and
    /// the policy for updates (okToDoUpdate) agrees. A false argument stays false.
    virtual void onCanContinue(int nPackages, bool& bCanContinue);
    /// Asked after the packages were installed. The answer is no: updates are not
    /// new software. Looks for the agent's own package among them.
    virtual void onCanAddToNewStuff(PackageNameArray& arPackages, bool& bAddToNewStuff);

signals:
    /// Whether the check succeeded, and whether the agent itself was updated: the
    /// host may want to restart it.
    void signalUpdatedAgent(bool bSuccess, bool bUpdatedAgent);

private:
    class Private;
    const std::unique_ptr<Private> d;
};
