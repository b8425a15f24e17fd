// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/capistatus.h"

#include "request/capi.h"
#include "request/transfer.h"
#include "util/desktop.h"
#include "util/output.h"

#include <KIO/Job>
#include <KIO/TransferJob>
#include <QUrl>

std::set<CAPIStatus*> CAPIStatus::m_running;

CAPIStatus::CAPIStatus() = default;

CAPIStatus::~CAPIStatus()
{
    m_running.erase(this);
}

bool CAPIStatus::Execute()
{
    const QString sURL = CAPI::GetURL(QStringLiteral("agentapi"));
    // Without a transfer there is nothing that could fail.
    if (KIO::TransferJob* pJob = sURL.isEmpty() ? nullptr : StartTransfer(QUrl(sURL))) {
        m_pJob = pJob;
        m_running.insert(this);
        connect(pJob, &KJob::result, this,
                [this](KJob* pEnded) { onDownloadComplete(static_cast<KIO::Job*>(pEnded)); });
        WatchForSilence(pJob, this, [this](int, const QString&) { GiveUp(); });
        while (!m_bDone)
            ProcessMessages();
    }
    const bool reached = !m_bError;
    WriteLine(std::string("In CAPIStatus: ") + (reached ? "No Error" : "Error"));
    delete this;
    return reached;
}

void CAPIStatus::onDownloadComplete(KIO::Job* pJob)
{
    if (pJob->error() != 0 && pJob->error() != KIO::ERR_USER_CANCELED)
        m_bError = true;
    m_bDone = true;
}

void CAPIStatus::GiveUp()
{
    if (m_bDone)
        return;
    if (m_pJob)
        m_pJob->kill(KJob::Quietly);
    m_bError = true;
    m_bDone = true;
}

void CAPIStatus::AbortTransfers()
{
    for (CAPIStatus* pStatus : m_running)
        pStatus->GiveUp();
}
