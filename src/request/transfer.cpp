// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/transfer.h"

#include "support/cconfigfile.h"
#include "util/paths.h"

#include <KIO/Job>
#include <KIO/TransferJob>
#include <QTimer>
#include <QUrl>

namespace
{

// How long a server may be silent, in milliseconds: the wait of a request has no
// limit, and KIO waits for the beginning of an answer for ever.
int ResponseTimeout()
{
    const CConfigFile settings(SettingsFile(), false);
    return int(qBound(1L, settings.GetLongValue("response timeout", 120), 86400L)) * 1000;
}

} // namespace

KIO::TransferJob* StartTransfer(const QUrl& url)
{
    const bool http
        = url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https");
    if (!url.isValid() || !http || url.host().isEmpty())
        return nullptr;
    return KIO::get(url, KIO::Reload, KIO::HideProgressInfo);
}

void WatchForSilence(KIO::TransferJob* pJob, QObject* context,
                     std::function<void(int nError, const QString& sText)> giveUp)
{
    auto* pSilence = new QTimer(pJob);
    pSilence->setSingleShot(true);
    pSilence->start(ResponseTimeout());
    QObject::connect(pJob, &KIO::TransferJob::data, pSilence, [pSilence] { pSilence->start(); });
    const QString sText = KIO::buildErrorString(KIO::ERR_SERVER_TIMEOUT, pJob->url().host());
    QObject::connect(pSilence, &QTimer::timeout, context,
                     [giveUp, sText] { giveUp(KIO::ERR_SERVER_TIMEOUT, sText); });
}
