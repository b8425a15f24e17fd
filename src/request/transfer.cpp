// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/transfer.h"

#include <KIO/Global>
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

int TransferError(KIO::Job* pJob)
{
    const QString status = pJob->queryMetaData(QStringLiteral("responsecode"));
    if (pJob->error() == 0)
        return status == QLatin1String("0") ? int(KIO::ERR_CANNOT_CONNECT) : 0;
    return status.toInt() >= 400 && pJob->error() != KIO::ERR_USER_CANCELED ? 0 : pJob->error();
}

QString TransferErrorText(KIO::Job* pJob)
{
    if (pJob->error() != 0)
        return pJob->errorString();
    const QUrl url = static_cast<KIO::TransferJob*>(pJob)->url();
    return KIO::buildErrorString(TransferError(pJob), url.host());
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
