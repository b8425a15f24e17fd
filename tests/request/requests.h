// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A request class for tests, and a server that lists it in its directory.

#pragma once

#include "request/capi.h"
#include "tests/common/observe.h"
#include "tests/common/scriptedserver.h"

#include <KIO/Job>
#include <QDomElement>
#include <QPointer>

// Requests "TestRequest", and writes what happens to a record that outlives it.
class TestRequest : public CAPI
{
    Q_OBJECT

public:
    struct Record {
        QStringList events; // "ok ...", "failed ...", "error ...", "complete 1"
        QStringList failures; // the codes of signalFailure, such as "timed-out"
        QString sentence, details; // of signalFailure
        bool failureBeforeEnd = false; // signalFailure was followed by APIComplete
        QString file; // the reply file
        bool cancel = false; // kill the job when data arrives
        QString query;
        QPointer<QObject> object;
    };

    TestRequest(Record& record, bool bSilent = true, bool bWait = true, bool bExclusive = false)
        : CAPI(bSilent, bExclusive, bWait), m_record(record)
    {
        record.object = this;
        connect(this, &CAPI::APIDestinationFile, this,
                [&record](const QFile& file) { record.file = file.fileName(); });
        connect(this, &CAPI::BeforeTransfer, this,
                [&record](const QString& url) { record.events << QLatin1String("before ") + url; });
        connect(this, &CAPI::FailedTransfer, this, [&record](QDomElement* element) {
            record.events << QLatin1String("failed ") + element->attribute(QStringLiteral("msg"));
        });
        connect(this, &CAPI::ErroneousTransfer, this, [&record](const QString& text) {
            record.events << QLatin1String("error ") + text;
        });
        connect(this, &CAPI::signalFailure, QCoreApplication::instance(),
                [&record](AgentError::Code code, const QString& sentence, const QString& details) {
                    record.failures << AgentError::Name(code);
                    record.sentence = sentence;
                    record.details = details;
                    record.failureBeforeEnd
                        = record.events.filter(QStringLiteral("complete")).isEmpty();
                });
        connect(this, &CAPI::APIComplete, QCoreApplication::instance(), [&record](bool succeeded) {
            record.events << QLatin1String("complete ") + QString::number(succeeded);
        });
    }

    QString DecorateURI() override { return m_record.query; }
    void onDownloadReceive(KIO::Job* job, const QByteArray& data) override
    {
        CAPI::onDownloadReceive(job, data);
        if (m_record.cancel && !data.isEmpty())
            job->kill(KJob::EmitResult);
    }
    void onSuccessfulTransfer(QDomElement* element) override
    {
        m_record.events << QLatin1String("ok ") + element->text();
    }

private:
    Record& m_record;
};

// The reply that lists these functions at these URLs.
inline QByteArray Directory(const QMap<QByteArray, QByteArray>& entries)
{
    QByteArray xml = "<?xml version=\"1.0\"?>\n<agentfunction resultcode=\"OK\"><getagentapi>";
    for (auto it = entries.begin(); it != entries.end(); ++it)
        xml += "<api><name>" + it.key() + "</name><url>" + it.value() + "</url></api>";
    return ScriptedServer::http(xml + "</getagentapi></agentfunction>");
}

// The texts of the library, as a user reads them.
namespace Texts
{
const QString locked = QStringLiteral(
    "Communication with the VantrelNet server has been temporarily disabled.  Please try again "
    "in a few moments.");
const QString noUrl = QStringLiteral(
    "Pakmart was unable to connect to the VantrelNet server.\nIf you continue to get this "
    "message, please use Pakmart to check for available system updates.");
const QString noJob = QStringLiteral(
    "Unable to connect to the VantrelNet server.\nEither the server is currently unavailable, or "
    "your computer is not connected to the internet.\nPlease check your internet connection and "
    "try again in a few moments.");
const QString format = QStringLiteral(
    "Pakmart successfully contacted the VantrelNet server; however, the response from the server "
    "is not in an understandable format.\n\nIf you continue to get this message, please visit "
    "support.vantrelnet.example for further assistance.");
} // namespace Texts
