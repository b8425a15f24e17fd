// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/transfer.h"

#include <KIO/Job>
#include <KIO/TransferJob>
#include <QTimer>
#include <QUrl>
#include <utility>

KIO::TransferJob* StartTransfer(const QUrl& url)
{
    const bool http
        = url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https");
    if (!url.isValid() || !http || url.host().isEmpty())
        return nullptr;
    return KIO::get(url, KIO::Reload, KIO::HideProgressInfo);
}

void WatchForSilence(KIO::TransferJob* pJob, int seconds, QObject* context,
                     std::function<void(int nError, const QString& sText)> giveUp)
{
    auto* pSilence = new QTimer(pJob);
    pSilence->setSingleShot(true);
    pSilence->start(seconds * 1000);
    QObject::connect(pJob, &KIO::TransferJob::data, pSilence, [pSilence] { pSilence->start(); });
    QObject::connect(pSilence, &QTimer::timeout, context, [giveUp = std::move(giveUp), pJob] {
        const QString sHost = pJob->url().host();
        giveUp(KIO::ERR_SERVER_TIMEOUT, KIO::buildErrorString(KIO::ERR_SERVER_TIMEOUT, sHost));
    });
}

AgentError::Code ReasonOf(int nKioError)
{
    switch (nKioError) {
    case KIO::ERR_USER_CANCELED:
    case KIO::ERR_ABORTED:
        return AgentError::Cancelled;
    case KIO::ERR_SERVER_TIMEOUT:
        return AgentError::TimedOut;
    case KIO::ERR_DISK_FULL:
        return AgentError::NoDiskSpace;
    case KIO::ERR_INTERNAL_SERVER:
        return AgentError::ServerFailed;
    case KIO::ERR_CYCLIC_LINK:
    case KIO::ERR_ACCESS_DENIED:
        return AgentError::RedirectRefused;
    case KIO::ERR_MALFORMED_URL:
    case KIO::ERR_UNSUPPORTED_PROTOCOL:
        return AgentError::BadAddress;
    case KIO::ERR_UNKNOWN_HOST:
    case KIO::ERR_CANNOT_CONNECT:
    case KIO::ERR_CONNECTION_BROKEN:
    case KIO::ERR_UNKNOWN_PROXY_HOST:
    case KIO::ERR_CANNOT_CREATE_SOCKET:
        return AgentError::ServerUnreachable;
    default:
        return AgentError::Other;
    }
}
