// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/capistatus.h"

#include "request/capi.h"
#include "request/transfer.h"
#include "support/ctracer.h"
#include "util/desktop.h"
#include "util/standardoutput.h"

#include <KIO/Job>
#include <KIO/TransferJob>
#include <KJob>
#include <QPointer>
#include <QUrl>
#include <algorithm>

using namespace Agent;

class CAPIStatus::Private
{
public:
    QPointer<KJob> m_pJob;
    bool m_bError = false;
    bool m_bDone = false;
};

std::set<CAPIStatus*> CAPIStatus::m_running;

CAPIStatus::CAPIStatus() : d(std::make_unique<Private>())
{
    CTracer tracer("CAPIStatus::CAPIStatus");
}

CAPIStatus::~CAPIStatus()
{
    CTracer tracer("CAPIStatus::~CAPIStatus");
    m_running.erase(this);
}

bool CAPIStatus::Execute()
{
    CTracer tracer("CAPIStatus::Execute");
    const QString sURL = CAPI::GetURL(QStringLiteral("agentapi"));
    // Without a transfer nothing can fail.
    if (KIO::TransferJob* pJob = sURL.isEmpty() ? nullptr : StartTransfer(QUrl(sURL))) {
        const TransferLimits limits = ReadTransferLimits();
        d->m_pJob = pJob;
        m_running.insert(this);
        connect(pJob, &KJob::result, this,
                [this](KJob* pEnded) { onDownloadComplete(static_cast<KIO::Job*>(pEnded)); });
        connect(pJob, &KIO::TransferJob::data, this,
                [this, left = limits.size](KIO::Job*, const QByteArray& arData) mutable {
                    // An answer that never ends is still an answer.
                    const auto size = std::uint64_t(arData.size());
                    if (size > left)
                        End(false);
                    left -= std::min(left, size);
                });
        // A redirection is an answer, too.
        WatchTransfer(pJob, limits, this, [this](AgentError::Code reason, int, const QString&) {
            End(reason != AgentError::RedirectRefused);
        });
        while (!d->m_bDone)
            ProcessMessages();
    }
    const bool reached = !d->m_bError;
    WriteLine(std::string("In CAPIStatus: ") + (reached ? "No Error" : "Error"));
    delete this;
    return reached;
}

void CAPIStatus::onDownloadComplete(KIO::Job* pJob)
{
    CTracer tracer("CAPIStatus::onDownloadComplete");
    const int error = TransferError(pJob);
    // The beginning of an answer is enough.
    const bool answered = error == KIO::ERR_CONNECTION_BROKEN && ReplyHasBegun(pJob);
    if (error != 0 && error != KIO::ERR_USER_CANCELED && !answered)
        d->m_bError = true;
    d->m_bDone = true;
}

void CAPIStatus::End(bool bError)
{
    if (d->m_bDone)
        return;
    if (d->m_pJob)
        d->m_pJob->kill(KJob::Quietly);
    d->m_bError = bError;
    d->m_bDone = true;
}

void CAPIStatus::AbortTransfers()
{
    CTracer tracer("CAPIStatus::AbortTransfers");
    for (CAPIStatus* pStatus : m_running)
        pStatus->End(true);
}
