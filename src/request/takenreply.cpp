// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/takenreply.h"

#include "request/replysignature.h"
#include "request/transfer.h"
#include "util/eventwait.h"
#include "util/logrequest.h"

#include <KIO/MimetypeJob>
#include <QPointer>
#include <QRegularExpression>
#include <QUrl>
#include <ctime>

namespace Agent
{

namespace
{

// A mark becomes part of a request's head.
bool IsMark(const QString& sMark)
{
    static const QRegularExpression form(
        QStringLiteral("\\A(W/)?\"[\\x21\\x23-\\x7e]{1,200}\"\\z"));
    return form.match(sMark).hasMatch();
}

QString FieldOf(const QString& sText, const char* name)
{
    const QStringList lines = sText.split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        if (line.startsWith(QLatin1String(name)))
            return line.mid(int(qstrlen(name)));
    }
    return QString();
}

// A request for the head of the reply alone, if it has changed. Many machines send it each day,
// so that it says no more than it has to.
KIO::TransferJob* Ask(const TakenReply& reply)
{
    KIO::TransferJob* job = KIO::mimetype(QUrl(reply.url), KIO::HideProgressInfo);
    PrepareTransfer(job);
    job->addMetaData(QStringLiteral("cache"), QStringLiteral("reload"));
    job->addMetaData(QStringLiteral("accept"), QStringLiteral("text/xml"));
    job->addMetaData(QStringLiteral("SendLanguageSettings"), QStringLiteral("false"));
    job->addMetaData(QStringLiteral("UserAgent"), QStringLiteral("Pakmart"));
    job->addMetaData(QStringLiteral("customHTTPHeader"),
                     QLatin1String("If-None-Match: ") + reply.mark);
    return job;
}

// Whether the job has ended with the server's answer. It is deleted later.
bool Await(KIO::TransferJob* job, const GoOn& goOn)
{
    bool ended = false, hasAnswer = false;
    QObject waits;
    QObject::connect(job, &KJob::result, &waits, [&] { ended = hasAnswer = true; });
    WatchTransfer(job, ReadTransferLimits(), &waits,
                  [&](AgentError::Code, int, const QString&) { ended = true; });
    while (!ended && goOn())
        PassEvents();
    return hasAnswer;
}

} // namespace

TakenReply MakeTakenReply(const QString& sURL, const QString& sMark, const QString& sStatement)
{
    TakenReply reply{ sURL, IsMark(sMark) ? sMark : QString(), QString(), 0 };
    const QByteArray text
        = QByteArray::fromBase64(sStatement.section(QLatin1Char(' '), 0, 0).toLatin1());
    reply.sha256 = FieldOf(QString::fromLatin1(text), "SHA256: ");
    reply.size = FieldOf(QString::fromLatin1(text), "Size: ").toLongLong();
    return reply;
}

bool IsUnchanged(const TakenReply& reply, const GoOn& goOn)
{
    const QUrl url(reply.url);
    if (!IsMark(reply.mark) || !IsStoreAddress(url))
        return false;
    const std::time_t started = std::time(nullptr);
    const QPointer<KIO::TransferJob> job = Ask(reply);
    job->setAutoDelete(false);
    const bool hasAnswer = Await(job, goOn);
    const QString status
        = hasAnswer ? job->queryMetaData(QStringLiteral("responsecode")) : QString();
    const QString statement = hasAnswer ? StatementOf(job) : QString();
    CountTransfer(job);
    hasAnswer ? job->deleteLater() : void(job->kill(KJob::Quietly));
    qCDebug(logRequest, "asked whether %s has changed: %s", qUtf8Printable(reply.url),
            qUtf8Printable(status));
    if (status != QLatin1String("304"))
        return false;
    return !RepliesMustBeSigned()
        || CheckUnchanged(reply.sha256, reply.size, reply.url, statement, started, goOn)
               .code.isEmpty();
}

} // namespace Agent
