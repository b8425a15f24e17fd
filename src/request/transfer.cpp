// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/transfer.h"

#include "support/cconfigfile.h"
#include "util/paths.h"

#include <KIO/Global>
#include <KIO/Job>
#include <KIO/TransferJob>
#include <QPointer>
#include <QSslError>
#include <QTimer>
#include <QUrl>
#include <QVariant>
#include <algorithm>
#include <utility>

namespace Agent
{

namespace
{

bool IsWeb(const QUrl& url)
{
    return url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https");
}

// Belongs to the job, which deletes it. Time is counted in ticks of a timer, so that a
// blocked event loop counts as one tick, however long it was blocked.
class TransferWatch : public QObject
{
public:
    TransferWatch(KIO::TransferJob* pJob, const TransferLimits& limits, GiveUp giveUp)
        : QObject(pJob), m_limits(limits), m_giveUp(std::move(giveUp)), m_url(pJob->url())
    {
        m_tick.setInterval(std::clamp(std::min(limits.silence, limits.total) * 1000 / 8, 50, 1000));
        connect(&m_tick, &QTimer::timeout, this, &TransferWatch::OnTick);
        connect(pJob, &KIO::TransferJob::data, this, [this] { m_silent = 0; });
        connect(pJob, &KIO::TransferJob::redirection, this,
                [this](KIO::Job*, const QUrl& to) { OnRedirection(to); });
        m_tick.start();
    }

private:
    void OnTick()
    {
        m_silent += m_tick.interval();
        m_total += m_tick.interval();
        // One tick more than the limit: events that arrived while the loop was blocked are
        // handled before this tick.
        const auto over = [this](qint64 time, int seconds) {
            return time > seconds * 1000LL + m_tick.interval();
        };
        if (over(m_silent, m_limits.silence) || over(m_total, m_limits.total))
            End(AgentError::TimedOut, KIO::ERR_SERVER_TIMEOUT, m_url.host());
    }
    void OnRedirection(const QUrl& to)
    {
        if (!MayRedirect(m_url, to))
            End(AgentError::RedirectRefused, KIO::ERR_ACCESS_DENIED, to.toDisplayString());
        m_url = to;
    }
    void End(AgentError::Code reason, int nError, const QString& sWhat)
    {
        m_tick.stop();
        if (const GiveUp giveUp = std::exchange(m_giveUp, nullptr))
            giveUp(reason, nError, KIO::buildErrorString(nError, sWhat));
    }

    const TransferLimits m_limits;
    GiveUp m_giveUp;
    QUrl m_url; // that is being fetched
    QTimer m_tick;
    qint64 m_silent = 0; // milliseconds
    qint64 m_total = 0;
};

SentBytes sent;

const char receivedBytes[] = "vantrelReceivedBytes"; // a property of the job

void CountReceived(KIO::TransferJob* pJob)
{
    QObject::connect(pJob, &KIO::TransferJob::data, pJob,
                     [pJob, received = qulonglong(0)](KIO::Job*, const QByteArray& data) mutable {
                         received += qulonglong(data.size());
                         pJob->setProperty(receivedBytes, received);
                     });
    pJob->setProperty(receivedBytes, qulonglong(0));
}

// Whether the reply is shorter than the server has announced. A compressed reply's length
// may be that before or after decompression, so it is short only if both KIO's count and
// ours, which is after decompression, are.
bool EndsEarly(const KIO::Job* pJob)
{
    const QVariant received = pJob->property(receivedBytes);
    const qulonglong announced = pJob->totalAmount(KJob::Bytes);
    return received.isValid() && received.toULongLong() < announced
        && pJob->processedAmount(KJob::Bytes) < announced;
}

// What is wrong with the server's certificate, if that ended the transfer: KIO has the numbers
// of the faults, for each certificate of the chain.
QString CertificateFaults(const KIO::Job* pJob)
{
    QString text;
    QString numbers = pJob->metaData().value(QStringLiteral("ssl_cert_errors"));
    for (const QString& number :
         numbers.replace(QLatin1Char('\n'), QLatin1Char('\t')).split(QLatin1Char('\t'))) {
        const QString fault = QSslError(QSslError::SslError(number.toInt())).errorString();
        if (number.toInt() > 0 && !text.contains(fault))
            text += QLatin1Char(' ') + fault + QLatin1Char('.');
    }
    return text;
}

} // namespace

bool IsStoreAddress(const QUrl& url)
{
    return url.isValid() && IsWeb(url) && !url.host().isEmpty();
}

KIO::TransferJob* StartTransfer(const QUrl& url)
{
    if (!IsStoreAddress(url))
        return nullptr;
    KIO::TransferJob* pJob = KIO::get(url, KIO::Reload, KIO::HideProgressInfo);
    PrepareTransfer(pJob);
    return pJob;
}

void PrepareTransfer(KIO::TransferJob* pJob)
{
    // KIO would offer to go on with a certificate that nobody vouches for.
    pJob->addMetaData(QStringLiteral("ssl_no_ui"), QStringLiteral("TRUE"));
    pJob->addMetaData(QStringLiteral("PropagateHttpHeader"), QStringLiteral("true"));
    CountReceived(pJob);
}

QString HeaderOf(KIO::Job* pJob, const char* name)
{
    constexpr int longest = 4096;
    const QString begin = QLatin1String(name) + QLatin1Char(':');
    const QStringList headers
        = pJob->queryMetaData(QStringLiteral("HTTP-Headers")).split(QLatin1Char('\n'));
    for (const QString& header : headers) {
        if (header.startsWith(begin, Qt::CaseInsensitive) && header.size() < longest)
            return header.mid(begin.size()).trimmed();
    }
    return QString();
}

void CountTransfer(KIO::Job* pJob)
{
    bool isKnown = false;
    const qint64 length = HeaderOf(pJob, "content-length").toLongLong(&isKnown);
    const qint64 received = pJob->property(receivedBytes).toLongLong();
    isKnown = isKnown && length >= 0;
    sent.count += pJob->queryMetaData(QStringLiteral("HTTP-Headers")).size()
        + (isKnown ? std::min(length, received) : received);
    sent.isUnpacked = sent.isUnpacked
        || (!isKnown && received > 0 && !HeaderOf(pJob, "content-encoding").isEmpty());
}

SentBytes SentByServer()
{
    return sent;
}

int TransferError(KIO::Job* pJob)
{
    const QString status = pJob->queryMetaData(QStringLiteral("responsecode"));
    if (pJob->error() == 0 && status == QLatin1String("0"))
        return KIO::ERR_CANNOT_CONNECT;
    if (pJob->error() == 0)
        return EndsEarly(pJob) ? int(KIO::ERR_CONNECTION_BROKEN) : 0;
    return status.toInt() >= 400 && pJob->error() != KIO::ERR_USER_CANCELED ? 0 : pJob->error();
}

QString TransferErrorText(KIO::Job* pJob)
{
    if (pJob->error() != 0)
        return pJob->errorString() + CertificateFaults(pJob);
    const QUrl url = static_cast<KIO::TransferJob*>(pJob)->url();
    return KIO::buildErrorString(TransferError(pJob), url.host());
}

bool ReplyHasBegun(const KIO::Job* pJob)
{
    return pJob->property(receivedBytes).toULongLong() > 0;
}

bool MayRedirect(const QUrl& from, const QUrl& to)
{
    return IsWeb(to) && (to.scheme() == from.scheme() || to.scheme() == QLatin1String("https"));
}

void WatchTransfer(KIO::TransferJob* pJob, const TransferLimits& limits, QObject* context,
                   GiveUp giveUp)
{
    new TransferWatch(pJob, limits,
                      [alive = QPointer<QObject>(context), giveUp = std::move(giveUp)](
                          AgentError::Code reason, int nError, const QString& sText) {
                          if (alive)
                              giveUp(reason, nError, sText);
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

TransferLimits ReadTransferLimits()
{
    constexpr long day = 24 * 60 * 60;
    constexpr long standardSize = 256L * 1024 * 1024;
    const CConfigFile settings(SettingsFile(), false);
    const long silence = settings.GetLongValue("response timeout", 120);
    const long total = settings.GetLongValue("transfer timeout", 60 * 60);
    const long size = settings.GetLongValue("max reply size", standardSize);
    return { int(std::clamp(silence, 1L, day)), int(std::clamp(total, 1L, day)),
             std::uint64_t(size > 0 ? size : standardSize) };
}

} // namespace Agent
