// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The processing of a reply: it is spooled (spoolfile.h), passed by the gate before the parser
// (xmlgate.h), parsed (replydocument.h), judged here (JudgeReply), and dispatched.

#include "request/capi_p.h"
#include "request/replydocument.h"
#include "request/replysignature.h"
#include "request/spoolfile.h"
#include "request/transfer.h"
#include "request/xmlgate.h"
#include "support/cconfigfile.h"
#include "support/ctracer.h"
#include "util/eventwait.h"
#include "util/logrequest.h"
#include "util/paths.h"
#include "util/standardoutput.h"
#include "util/translated.h"
#include "util/vendor.h"

#include <KIO/Global>
#include <KIO/Job>
#include <QDomDocument>
#include <QTimer>
#include <cerrno>
#include <cstring>

using namespace Agent;

namespace
{

QString SystemError(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

// Why a file could not be made or written.
AgentError::Code ReasonOfFile(int error)
{
    return error == ENOSPC || error == EDQUOT || error == EFBIG ? AgentError::NoDiskSpace
                                                                : AgentError::CannotWrite;
}

QString ClassName(const QObject* object)
{
    return QString::fromLatin1(object->metaObject()->className());
}

QString FormatText()
{
    const CConfigFile settings(SettingsFile(), false);
    return Translated("Pakmart successfully contacted the "
                      "VantrelNet server; however, the response "
                      "from the server is not in an understandable "
                      "format.\n\n"
                      "If you continue to get this message, please "
                      "visit %1 for further "
                      "assistance.")
        .arg(
            QString::fromStdString(settings.GetStringValue("support web site", VendorSupportSite)));
}

// Takes a document apart from its leaves up while processing events; its destructor
// would block them for as long.
void TakeDown(QDomNode node, Pacer& pacer)
{
    while (!node.isNull()) {
        QDomNode child = node.firstChild();
        while (child.hasChildNodes()) {
            node = child;
            child = node.firstChild();
        }
        if (!child.isNull())
            node.removeChild(child);
        else
            node = node.parentNode();
        pacer.Breathe();
    }
}

} // namespace

void CAPI::onBeforeTransfer(const QString& sURL)
{
    CTracer tracer("CAPI::onBeforeTransfer");
    WriteLine(ClassName(this) + QLatin1String(" - ") + sURL);
    d->m_pSpool = std::make_unique<SpoolFile>();
    m_APIFile.setFileName(QFile::decodeName(d->m_pSpool->Make().c_str()));
    d->m_nSpoolError = d->m_pSpool->Error();
    // Not truncated: it is already empty, and ext4 would flush a truncated file at once.
    if (!m_APIFile.open(QIODevice::ReadWrite | QIODevice::ExistingOnly | QIODevice::Unbuffered))
        NoteSpoolError();
    emit APIDestinationFile(m_APIFile);
}

void CAPI::onDownloadReceive(KIO::Job* pJob, const QByteArray& arData)
{
    CTracer tracer("CAPI::onDownloadReceive");
    // A class that overrides Execute has started its own job.
    if (!d->m_pJob && pJob) {
        d->m_pJob = pJob;
        m_transferring.insert(this);
    }
    errno = 0;
    if (m_APIFile.isOpen() && m_APIFile.write(arData) != arData.size())
        NoteSpoolError();
    d->m_nReceived += std::uint64_t(arData.size());
    if (d->m_nReceived > d->m_nMaxReply || (m_APIFile.isOpen() && d->m_nSpoolError != 0))
        CutOff();
}

// Records that the reply file cannot be made or written. The first error counts.
void CAPI::NoteSpoolError()
{
    if (d->m_nSpoolError == 0)
        d->m_nSpoolError = errno != 0 ? errno : EIO;
    qCInfo(logRequest, "cannot write the reply file %s: %s", qUtf8Printable(m_APIFile.fileName()),
           qUtf8Printable(SystemError(d->m_nSpoolError)));
}

// Ends the transfer of a reply that must be refused in any case, because it is too large or
// the disk is full: otherwise a server could go on sending. The request ends a little later,
// since its caller is still handling a piece of the reply.
void CAPI::CutOff()
{
    if (m_transferring.erase(this) == 0)
        return;
    if (d->m_pJob)
        d->m_pJob->kill(KJob::Quietly);
    qCInfo(logRequest, "%s was cut off after %lld bytes", qUtf8Printable(GetAPIName()),
           m_APIFile.size());
    QTimer::singleShot(0, this, [this] {
        m_APIFile.close();
        DispatchReply();
        delete this;
    });
}

void CAPI::onDownloadComplete(KIO::Job* pJob)
{
    CTracer tracer("CAPI::onDownloadComplete");
    m_transferring.erase(this);
    m_APIFile.close();
    d->m_sStatus = pJob->queryMetaData(QStringLiteral("responsecode"));
    d->m_sStatement = StatementOf(pJob);
    d->m_sMark = HeaderOf(pJob, "etag");
    CountTransfer(pJob);
    qCDebug(logRequest, "%s has ended its transfer, error %d, with %lld bytes",
            qUtf8Printable(GetAPIName()), pJob->error(), m_APIFile.size());
    const int error = TransferError(pJob);
    if (error == 0) {
        DispatchReply();
    } else if (error != KIO::ERR_USER_CANCELED) {
        ReportJobError(error, TransferErrorText(pJob));
    } else {
        SetFailure(AgentError::Cancelled, QString(), Details(QString()));
    }
    delete this;
}

void CAPI::ReportJobError(int nError, const QString& sText)
{
    SetFailure(ReasonOf(nError), QString(), Details(sText));
    WriteLine(ClassName(this) + QLatin1String(" job returned error ") + QString::number(nError));
    emit ErroneousTransfer(sText);
}

// Reads the reply while events are processed, since a catalog takes seconds; AbortTransfers ends
// the reading.
template <typename Read> bool CAPI::ReadInterruptibly(const Read& read)
{
    d->m_bReading = true;
    m_transferring.insert(this);
    Pacer pacer;
    const bool done = read([this, &pacer] {
        pacer.Breathe();
        return !d->m_bInterrupted;
    });
    m_transferring.erase(this);
    d->m_bReading = false;
    return done;
}

// Parses the reply file.
QDomElement CAPI::ReadReply(QDomDocument& document, QString& sWhy)
{
    if (d->m_nReceived > d->m_nMaxReply || d->m_nSpoolError != 0)
        return QDomElement(); // it was cut off
    const auto use = d->m_bCopiesReply ? XmlGate::Use::Copy : XmlGate::Use::Document;
    const bool read = ReadInterruptibly([&](const GoOn& goOn) {
        return ReadReplyDocument(m_APIFile, document, d->m_nMaxReply, &sWhy, goOn, use);
    });
    return read ? document.documentElement() : QDomElement();
}

// Whether the class has taken the reply from its file. Otherwise nothing has happened yet.
bool CAPI::TakeReplyFile()
{
    const bool othersListen = receivers(SIGNAL(SuccessfulTransfer(QDomElement*))) > 1;
    if (!d->m_take || othersListen || d->m_nReceived > d->m_nMaxReply || d->m_nSpoolError != 0)
        return false;
    return ReadInterruptibly([&](const GoOn& goOn) {
        return MayBeReadInPieces(m_APIFile, d->m_nMaxReply, goOn) && d->m_take(m_APIFile, goOn);
    });
}

// Whether the reply may be read at all: it is signed, or need not be. Otherwise the request has
// failed. A reply that was cut off is refused later in any case.
bool CAPI::IsReplyTrusted()
{
    if (d->m_nReceived > d->m_nMaxReply || d->m_nSpoolError != 0 || !RepliesMustBeSigned())
        return true;
    SignatureFault fault;
    ReadInterruptibly([&](const GoOn& goOn) {
        fault = CheckSignature(m_APIFile, d->m_sURL, d->m_sStatement, d->m_started, goOn);
        return true;
    });
    if (d->m_bInterrupted) {
        ReportJobError(KIO::ERR_ABORTED, InterruptedText());
    } else if (!fault.code.isEmpty()) {
        NoteDistrust(fault.code, fault.sentence);
        WriteLine(QStringLiteral("CAPI::onDownloadComplete - no signed reply received"));
        emit ErroneousTransfer(FormatText());
    }
    return !d->m_bInterrupted && fault.code.isEmpty();
}

// Parses the spooled reply and passes it on. The reply is judged only when it is complete,
// since slots receive a whole document. The document is destroyed here, piece by piece, and
// not by a destructor, which would block the event loop for as long.
void CAPI::DispatchReply()
{
    if (m_APIFile.fileName().isEmpty() || !m_APIFile.open(QIODevice::ReadOnly)) {
        NoteMissingFile();
        return;
    }
    if (!IsReplyTrusted() || TakeReplyFile()) {
        m_APIFile.close();
        return;
    }
    QDomDocument document(QStringLiteral("VantrelAgentXML"));
    QString sWhy;
    QDomElement root = ReadReply(document, sWhy);
    if (d->m_bInterrupted)
        ReportJobError(KIO::ERR_ABORTED, InterruptedText());
    else
        JudgeReply(root, sWhy);
    m_APIFile.close();
    Pacer pacer;
    TakeDown(document, pacer);
}

void CAPI::JudgeReply(QDomElement& root, const QString& sWhy)
{
    if (root.isNull()) {
        RefuseReply(sWhy);
        WriteLine(QStringLiteral("CAPI::onDownloadComplete - no xml received"));
        emit ErroneousTransfer(FormatText());
    } else if (root.tagName() != QLatin1String("agentfunction")) {
        RefuseReply(QStringLiteral("its root is not \"agentfunction\""));
        WriteLine(QStringLiteral("CAPI::onDownloadComplete - bad xml received"));
        emit ErroneousTransfer(FormatText());
    } else if (root.attribute(QStringLiteral("resultcode"), QStringLiteral("FAILED"))
               == QLatin1String("OK")) {
        emit SuccessfulTransfer(&root);
    } else {
        NoteRefusal(root);
        emit FailedTransfer(&root);
    }
}

// Sets the reason for a missing reply file: it could not be made or, for a request that
// the lock refused, was never requested.
void CAPI::NoteMissingFile()
{
    if (d->m_bConnected)
        SetFailure(ReasonOfFile(d->m_nSpoolError), QString(),
                   m_APIFile.fileName() + QLatin1String(": ") + SystemError(d->m_nSpoolError));
    else
        SetFailure(AgentError::Locked, QString(), Details(QString()));
}

// An error page, or that of a redirection that KIO refuses, is not an envelope.
void CAPI::RefuseReply(const QString& sWhy)
{
    const int status = d->m_sStatus.toInt();
    if (d->m_nSpoolError != 0)
        NoteMissingFile();
    else if (d->m_nReceived > d->m_nMaxReply || sWhy == QLatin1String(XmlGate::tooMuchMemory))
        SetFailure(AgentError::ReplyTooLarge, QString(), Details(sWhy));
    else
        SetFailure(status >= 400       ? AgentError::ServerFailed
                       : status >= 300 ? AgentError::RedirectRefused
                                       : AgentError::ReplyNotUnderstood,
                   QString(), Details(sWhy));
}

// Nobody signs the page about an error in a server on the way.
void CAPI::NoteDistrust(const QString& sCode, const QString& sSentence)
{
    if (d->m_sStatement.isEmpty() && d->m_sStatus.toInt() >= 300)
        RefuseReply(sCode);
    else
        SetFailure(AgentError::ReplyNotTrusted, sSentence, Details(sCode));
}

void CAPI::NoteRefusal(const QDomElement& element)
{
    const QString sMsg = element.attribute(QStringLiteral("msg"));
    const bool answered = d->m_sStatus.toInt() < 400;
    SetFailure(answered ? RefusalCode() : AgentError::RefusedByServer, sMsg, Details(QString()));
}

void CAPI::onFailedTransfer(QDomElement* pElement)
{
    const QString msg = QStringLiteral("msg");
    NoteRefusal(*pElement);
    WriteLine(ClassName(this) + QLatin1String(" - api failure = ") + pElement->attribute(msg));
    if (!m_bSilent)
        ShowErrorBox(pElement->attribute(msg, Translated("Unspecified API error")));
    m_bSucceeded = false;
}

void CAPI::onErroneousTransfer(const QString& sErrorMsg)
{
    CTracer tracer("CAPI::onErroneousTransfer");
    tracer.trace_out(sErrorMsg.toStdString());
    SetFailure(AgentError::Other, sErrorMsg);
    WriteLine(ClassName(this) + QLatin1String(" - api error = '") + sErrorMsg + QLatin1Char('\''));
    if (!m_bSilent)
        ShowErrorBox(sErrorMsg);
    m_bSucceeded = false;
}

bool CAPI::IsValidXML()
{
    return IsValidXML(m_APIFile.fileName());
}

bool CAPI::IsValidXML(const QString& sFileName)
{
    CTracer tracer("CAPI::IsValidXML");
    QFile file(sFileName);
    return file.size() > 5 && file.open(QIODevice::ReadOnly)
        && file.read(5) == QByteArrayLiteral("<?xml");
}
