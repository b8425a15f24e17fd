// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CAPIGetOSVer
/// Brings the packages of the operating system up to date.
///
/// The server names the packages that have updates, and they are installed at
/// once, silently, by an install of their names (CAPIInstallPackages). New
/// applications are not recorded by it. After a check that succeeded, the present
/// time is written as "DateOfLastUpdate" into the package daemon's settings,
/// "/etc/pakmartd.conf".
///
///     auto* update = new CAPIGetOSVer(false);
///     connect(update, &CAPIGetOSVer::signalUpdatedAgent, this, &Host::onUpdated);
///     update->Execute(); // returns when all is over; do not touch `update`
///
/// The check succeeded when the server answered; how the install ended is not
/// told. A host that wants to ask, or to know more, overrides the two questions
/// of the installer and calls these here from its own. Such a class has no
/// meta-object of its own, so that the server knows it by the name of this one.

#pragma once

#include "../request/capi.h"
#include "packagelists.h"

class VANTRELAGENT_EXPORT CAPIGetOSVer : public CAPI
{
    Q_OBJECT

public:
    /// Silent or not; Execute waits until all is over.
    explicit CAPIGetOSVer(bool bSilent);
    /// Writes the date, then emits signalUpdatedAgent, before APIComplete.
    ~CAPIGetOSVer() override;

    /// Installs the newest versions of these packages.
    void UpgradeOSPackages(PackageNameArray& arPackages);

public slots:
    /// The payload: elements "package", each with the element "name".
    void onSuccessfulTransfer(QDomElement* pElement) override;
    /// Whether to go on with this number of package files: only if there is one,
    /// and if the policy for updates (okToDoUpdate) agrees. A false stays.
    virtual void onCanContinue(int nPackages, bool& bCanContinue);
    /// Asked after the packages were installed. The answer is no: updates are no
    /// new software. Looks for the agent's own package among them.
    virtual void onCanAddToNewStuff(PackageNameArray& arPackages, bool& bAddToNewStuff);

signals:
    /// Whether the check succeeded, and whether the agent itself was updated: the
    /// host may want to start it anew.
    void signalUpdatedAgent(bool bSuccess, bool bUpdatedAgent);

private:
    bool m_bUpdatedAgent = false;
};
