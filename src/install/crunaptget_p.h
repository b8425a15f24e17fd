// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The state of a run that no host sees.

#pragma once

#include "install/crunaptget.h"
#include "request/capi.h"

#include <QPointer>

class CRun;
class QDialog;
class QLabel;

namespace Agent
{
class FrontEndChild;
}

class CRunAptGet::Private
{
public:
    AptGetPackages m_packages;
    PackageNameArray m_packageFiles;
    std::string m_sTotalSize;
    std::string m_sCurrentPackage; // the one that is being downloaded
    bool m_bRetryPending = false;
    bool m_bErrorSeen = false;
    bool m_bEcho = false; // the setting "echo apt-get"
    bool m_bCancelled = false;
    bool m_bCanCancel = false; // a run is under way and nothing is unpacked yet
    bool m_bRefuseWhenBusy = false;
    AgentError::Code m_nFailure = AgentError::NoFailure;
    QString m_sFailure;
    QString m_sDetails;
    // Why the refresh of the sources failed in the current run.
    AgentError::Code m_nRefreshFailure = AgentError::NoFailure;
    QString m_sRefreshFailure;
    bool m_bHasTree = false; // runs are part of a transaction that has the tree
    bool m_bInRun = false; // a run is under way, which has the tree
    Agent::FrontEndChild* m_pChild = nullptr; // the front end, while it runs
    CRun* m_pRefresh = nullptr; // the front end's "update", while it runs
    QPointer<CAPI> m_pSources; // the request for the sources
    AptGetMessages m_messages;
    AptGetMessages m_errors;
    QDialog* m_pUpdateDialog = nullptr;
    QLabel* m_pUpdateLabel = nullptr;
};
