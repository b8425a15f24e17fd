// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The life of a request: made, started, waited for, destroyed.

#include "request/capi_p.h"

#include "request/capistatus.h"
#include "request/replysignature.h"
#include "request/spoolfile.h"
#include "request/takenreply.h"
#include "request/transfer.h"
#include "support/cconfigfile.h"
#include "support/ctracer.h"
#include "util/desktop.h"
#include "util/logrequest.h"
#include "util/paths.h"
#include "util/standardoutput.h"
#include "util/translated.h"

#include <KIO/Job>
#include <KIO/TransferJob>
#include <QUrl>

using namespace Agent;

namespace
{

QString NoURLText()
{
    return Translated("Pakmart was unable to connect to the VantrelNet server.\n"
                      "If you continue to get this message, please use Pakmart "
                      "to check for available system updates.");
}

QString NoJobText()
{
    return Translated("Unable to connect to the VantrelNet server.\n"
                      "Either the server is currently unavailable, "
                      "or your computer is not connected to the internet.\n"
                      "Please check your internet connection and try again "
                      "in a few moments.");
}

} // namespace

int CAPI::m_nReferenceCount = 0;
bool CAPI::m_bExecutionLocked = false;
CAPI* CAPI::m_pLockingAPI = nullptr;
std::set<CAPI*> CAPI::m_transferring;
unsigned CAPI::m_nAborts = 0;

CAPI::CAPI(bool bSilent, bool bExclusive, bool bWaitForDone)
    : m_bSilent(bSilent), m_bWaitForDone(bWaitForDone), d(std::make_unique<Private>())
{
    CTracer tracer("CAPI::CAPI");
    GetURLList();
    // For listeners that are found by name, spies and queued connections.
    static const int registered = qRegisterMetaType<AgentError::Code>();
    Q_UNUSED(registered)
    d->m_nMaxReply = ReadTransferLimits().size;
    // Not one of the object's own slots, since a refused object has none.
    connect(this, &CAPI::ErroneousTransfer, this,
            [this](const QString& sError) { SetFailure(AgentError::Other, sError); });
    d->m_bConnected = LockAPI(bExclusive);
    if (d->m_bConnected) {
        AddRef();
        connect(this, &CAPI::BeforeTransfer, this, &CAPI::onBeforeTransfer);
        connect(this, &CAPI::SuccessfulTransfer, this, &CAPI::onSuccessfulTransfer);
        connect(this, &CAPI::FailedTransfer, this, &CAPI::onFailedTransfer);
        connect(this, &CAPI::ErroneousTransfer, this, &CAPI::onErroneousTransfer);
        connect(this, &CAPI::APIComplete, this, &CAPI::onAPIComplete);
    }
    WriteLine(std::string("launching ") + metaObject()->className());
}

CAPI::~CAPI()
{
    CTracer tracer("CAPI::~CAPI");
    WriteLine(std::string("terminating ") + metaObject()->className());
    m_transferring.erase(this);
    Release();
    LockAPI(false);
    if (!m_bSucceeded)
        SetFailure(AgentError::Other);
    if (d->m_nFailure != AgentError::NoFailure)
        emit signalFailure(d->m_nFailure, d->m_sFailure, d->m_sDetails);
    emit APIComplete(m_bSucceeded);
    // A wait ends with the object, whatever its slots did, and even without slots.
    *d->m_bDone = true;
    if (!m_APIFile.fileName().isEmpty() && CAPI::CanDeleteAPIFile())
        m_APIFile.remove();
    else if (d->m_pSpool && m_APIFile.fileName().isEmpty())
        d->m_pSpool->Leave(); // the class has taken the name away
}

void CAPI::CopiesReply()
{
    d->m_bCopiesReply = true;
}

void CAPI::TakesReplyFile(
    std::function<bool(QIODevice& file, const std::function<bool()>& goOn)> take)
{
    d->m_take = std::move(take);
}

AgentError::Code CAPI::Failure() const
{
    return d->m_nFailure;
}

TakenReply CAPI::Taken() const
{
    return MakeTakenReply(d->m_sURL, d->m_sMark, d->m_sStatement);
}

bool CAPI::IsConnected() const
{
    return d->m_bConnected;
}

bool CAPI::Execute()
{
    CTracer tracer("CAPI::Execute");
    QString sError;
    if (APILocked(this)) {
        sError = LockedText();
        SetFailure(AgentError::Locked);
    } else {
        const QString sURL = GetURL(GetAPIName());
        if (sURL.isEmpty()) {
            WriteLine(QLatin1String("CAPI::Execute failed to find URL for '") + GetAPIName()
                      + QLatin1Char('\''));
            sError = NoURLText();
            NoteMissingURL();
        } else {
            sError = Start(sURL + DecorateURI());
        }
    }
    if (!sError.isEmpty()) {
        emit ErroneousTransfer(sError);
        delete this;
        return false;
    }
    if (m_bWaitForDone)
        WaitForDone();
    return true;
}

// Opens the reply file and starts the transfer into it. Returns the error, if any.
QString CAPI::Start(const QString& sURL)
{
    d->m_sURL = sURL;
    emit BeforeTransfer(sURL);
    KIO::TransferJob* pJob = StartTransfer(QUrl(sURL));
    if (!pJob) {
        SetFailure(AgentError::BadAddress, QString(), Details(QString()));
        return NoJobText();
    }
    pJob->addMetaData(QStringLiteral("content-type"), QStringLiteral("Content-Type: text/xml"));
    d->m_started = std::time(nullptr);
    connect(pJob, &KIO::TransferJob::data, this, &CAPI::onDownloadReceive);
    connect(pJob, &KJob::result, this,
            [this](KJob* pEnded) { onDownloadComplete(static_cast<KIO::Job*>(pEnded)); });
    const TransferLimits limits = ReadTransferLimits();
    WatchTransfer(pJob, limits, this,
                  [this](AgentError::Code nReason, int nError, const QString& sText) {
                      Abandon(nReason, nError, sText);
                  });
    d->m_pJob = pJob;
    m_transferring.insert(this);
    qCDebug(logRequest, "%s has begun its transfer into %s", qUtf8Printable(GetAPIName()),
            qUtf8Printable(m_APIFile.fileName()));
    return QString();
}

// Ends the request while its job runs; only once, even if called again while its box is
// open. A reply that is being read has arrived, and its time limits are over.
void CAPI::Abandon(AgentError::Code nReason, int nError, const QString& sText)
{
    if (d->m_bReading || m_transferring.erase(this) == 0)
        return;
    if (d->m_pJob)
        d->m_pJob->kill(KJob::Quietly);
    SetFailure(nReason, QString(), Details(sText));
    qCDebug(logRequest, "%s was given up, error %d", qUtf8Printable(GetAPIName()), nError);
    ReportJobError(nError, sText);
    delete this;
}

unsigned CAPI::AbortCount()
{
    return m_nAborts;
}

QString CAPI::InterruptedText()
{
    return Translated("Communication with the VantrelNet server was interrupted.");
}

// Shows no box: the caller knows, and a box would delay the end.
void CAPI::Interrupt()
{
    m_bSilent = true;
    d->m_bInterrupted = true; // ends the reading of a reply, whose frame ends the request
    if (!d->m_bReading)
        Abandon(AgentError::Cancelled, KIO::ERR_ABORTED, InterruptedText());
}

void CAPI::AbortTransfers()
{
    CTracer tracer("CAPI::AbortTransfers");
    ++m_nAborts;
    const std::set<CAPI*> transferring = m_transferring;
    for (CAPI* pAPI : transferring) {
        // Ending one request may end another.
        if (m_transferring.count(pAPI) != 0)
            pAPI->Interrupt();
    }
    CAPIStatus::AbortTransfers();
}

bool CAPI::CancelTransfer()
{
    CTracer tracer("CAPI::CancelTransfer");
    return m_transferring.count(this) != 0 && d->m_pJob && d->m_pJob->kill(KJob::EmitResult);
}

QString CAPI::LockedText()
{
    return Translated("Communication with the VantrelNet server has been "
                      "temporarily disabled.  Please try again in a few moments.");
}

void CAPI::SetFailure(AgentError::Code nCode, const QString& sSentence, const QString& sDetails)
{
    CTracer tracer("CAPI::SetFailure");
    const bool general = nCode == AgentError::Other && d->m_nFailure != AgentError::NoFailure;
    if (general || (d->m_nFailure != AgentError::NoFailure && d->m_nFailure != AgentError::Other)
        || nCode == AgentError::NoFailure)
        return;
    tracer.trace_out(AgentError::Name(nCode).toStdString());
    d->m_nFailure = nCode;
    d->m_sFailure = sSentence.isEmpty() ? AgentError::Sentence(nCode) : sSentence;
    d->m_sDetails = sDetails;
    qCDebug(logRequest, "%s fails: %s, %s %s", qUtf8Printable(GetAPIName()),
            qUtf8Printable(AgentError::Name(nCode)), qUtf8Printable(d->m_sFailure),
            qUtf8Printable(d->m_sDetails));
}

AgentError::Code CAPI::RefusalCode() const
{
    return AgentError::RefusedByServer;
}

// The details of the transfer for a log: the address, the server's status, and the
// error.
QString CAPI::Details(const QString& sWhat) const
{
    QStringList parts{ d->m_sURL };
    if (!d->m_sStatus.isEmpty())
        parts << QLatin1String("HTTP ") + d->m_sStatus;
    if (!sWhat.isEmpty())
        parts << sWhat;
    return parts.join(QLatin1String(": "));
}

QString CAPI::GetAPIName()
{
    return QString::fromLatin1(metaObject()->className());
}

QString CAPI::DecorateURI()
{
    return QString();
}

bool CAPI::CanDeleteAPIFile()
{
    CTracer tracer("CAPI::CanDeleteAPIFile");
    return CConfigFile(SettingsFile(), false).GetLongValue("keep agent xml", 0) == 0;
}

void CAPI::WaitForDone()
{
    CTracer tracer("CAPI::WaitForDone");
    // The object is gone when the flag is set; this frame keeps the flag itself alive.
    const std::shared_ptr<const bool> done = d->m_bDone;
    while (!*done)
        ProcessMessages();
}

bool CAPI::CheckIfDone() const
{
    return *d->m_bDone;
}

void CAPI::onAPIComplete(bool)
{
    CTracer tracer("CAPI::onAPIComplete");
    *d->m_bDone = true;
}

int CAPI::AddRef()
{
    CTracer tracer("CAPI::AddRef");
    return ++m_nReferenceCount;
}

int CAPI::Release()
{
    CTracer tracer("CAPI::Release");
    if (--m_nReferenceCount < 0)
        m_nReferenceCount = 0;
    return m_nReferenceCount;
}

int CAPI::ReferenceCount() const
{
    return m_nReferenceCount;
}

// One request can lock out all others, for example while the API directory is being fetched.
// It gets the lock only if no other request exists; until it releases the lock, every new
// request is refused here. Returns false if the request was refused.
bool CAPI::LockAPI(bool bLock)
{
    CTracer tracer("CAPI::LockAPI");
    if (m_bExecutionLocked) {
        if (m_pLockingAPI != this)
            return false;
        m_bExecutionLocked = bLock;
        return true;
    }
    if (!bLock)
        return true;
    if (ReferenceCount() != 0)
        return false;
    m_bExecutionLocked = true;
    m_pLockingAPI = this;
    return true;
}

bool CAPI::APILocked(CAPI* pAPI) const
{
    return m_bExecutionLocked && m_pLockingAPI != pAPI;
}
