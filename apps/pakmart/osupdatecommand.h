// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The update of the operating system, as the person decides on it.

#pragma once

#include "commands.h"

#include <QPointer>
#include <vantrelagent/install/capigetosver.h>
#include <vantrelagent/install/capiinstallpackages.h>

// What is known of an update when it is over; it outlives the request.
struct OSUpdateRecord {
    bool succeeded = false; // the server has answered
    bool agent = false; // the agent itself was updated
    QStringList offered; // packages that the server names
    int files = -1; // package files needed; -1: that could not be worked out
    bool declined = false;
    bool installed = false; // as the library sees it
    bool toolsRan = false;
    QStringList errors; // of the package tools
    QPointer<CAPIInstallPackages> install; // while it is under way
};

// The request, known to the server by the name of the class it extends: it has
// no meta-object of its own.
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
