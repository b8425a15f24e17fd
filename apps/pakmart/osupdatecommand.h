// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The update of the operating system, with the user's decisions.

#pragma once

#include "commands.h"

#include <QPointer>
#include <vantrelagent/install/capigetosver.h>
#include <vantrelagent/install/capiinstallpackages.h>

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
