// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CAPI
/// The base of every request to the store server.
///
/// One object is one exchange: it looks up the URL of its function in the API
/// directory, adds its query text, fetches the URL, spools the reply into
/// "/tmp/T_N.xml" (T the time, N a serial number), checks that it is an
/// `agentfunction` envelope whose `resultcode` is "OK", and hands the envelope
/// to onSuccessfulTransfer. The first request of a process fetches the directory
/// inside its constructor.
///
/// A request lives on the heap and destroys itself when its exchange is over;
/// its destructor emits APIComplete. So:
///
///     auto* request = new CAPISomething(false);
///     QObject::connect(request, &CAPI::APIComplete, host, &Host::onDone);
///     request->Execute(); // from here on the request is not touched again
///
/// Everything runs on the thread of the application object. A wait processes
/// events, so slots of other objects run inside it.

#pragma once

#include "agenterror.h"
#include "capilist.h"

#include <QDomElement>
#include <QFile>
#include <QObject>
#include <QString>
#include <functional>
#include <memory>
#include <set>
#include <vantrelagent/export.h>

namespace KIO
{
class Job;
}

namespace Agent
{
struct TakenReply;
} // namespace Agent

class VANTRELAGENT_EXPORT CAPI : public QObject
{
    Q_OBJECT

public:
    /// `bSilent`: failures are logged but no box is shown. `bExclusive`: no
    /// other request may run meanwhile; granted only when none is alive. A
    /// request that cannot get its lock, or is made while another holds it, is
    /// not counted and does not listen to its own signals. `bWaitForDone`: Execute
    /// returns only after the object has destroyed itself.
    CAPI(bool bSilent, bool bExclusive, bool bWaitForDone);
    /// Releases the lock and the count, emits APIComplete, and removes the reply
    /// file unless the settings keep it. Requests destroy themselves.
    ~CAPI() override;

    /// Starts the request. True when the transfer was started (and, for a
    /// request that waits, has ended); false when it could not start: the object has
    /// then emitted the reason by ErroneousTransfer and is gone. In both cases do
    /// not touch the object afterwards.
    virtual bool Execute();

    /// The name of the function in the directory: the class name.
    virtual QString GetAPIName();

    /// Whether the reply file may be removed when the request ends: true unless the
    /// setting "keep agent xml" is other than 0.
    virtual bool CanDeleteAPIFile();

    /// The query text that is appended to the function's URL; empty here.
    virtual QString DecorateURI();

    /// Runs the event loop until the request has been destroyed.
    void WaitForDone();
    /// Whether APIComplete was emitted, for a request that still exists.
    bool CheckIfDone() const;

    /// The number of live requests of the process that got past the lock; each of
    /// these returns the count after the operation, which is never below 0.
    /// Requests count themselves.
    /// @{
    int AddRef();
    int Release();
    int ReferenceCount() const;
    /// @}

    /// Takes (`bLock`) or releases the exclusive lock; false when another
    /// request holds it, or when it is requested while requests are alive.
    bool LockAPI(bool bLock);
    /// True when a request other than `pAPI` holds the lock.
    bool APILocked(CAPI* pAPI) const;

    /// Ends all running transfers, and the reading of all replies, as failures; meant
    /// for a host that is about to quit. Each request emits its signals
    /// (AgentError::Cancelled), shows no box, and destroys itself; a request whose
    /// reply is being read does so within the next passes of the event loop. A status
    /// check (CAPIStatus) counts it as an error.
    static void AbortTransfers();
    /// How often AbortTransfers was called: for waits that AbortTransfers should end.
    static unsigned AbortCount();

    /// Ends this request's transfer as if the user had cancelled it: silently, and as
    /// a success. False when none runs; otherwise the request is gone afterwards.
    bool CancelTransfer();

    /// Fetches the directory, once per process: a failure is not retried.
    static void GetURLList();
    /// The URL of a function; empty when the directory does not list it.
    static QString GetURL(const QString& sAPIName);
    /// The URL of the directory itself: the setting "agent api url".
    static QString GetAgentAPIURL();

    /// Whether a file (without an argument: the reply file) begins with `<?xml`
    /// and more text follows. False when it cannot be read.
    /// @{
    bool IsValidXML();
    bool IsValidXML(const QString& sFileName);
    /// @}

signals:
    /// The full URL with its query text, just before the transfer is started.
    void BeforeTransfer(const QString& sAPIURL);
    /// The envelope of a call that the server reports as done. The element lives
    /// for the duration of the emission.
    void SuccessfulTransfer(QDomElement* pDOMParent);
    /// The envelope of a call that the server reports as failed ("msg" says why).
    void FailedTransfer(QDomElement* pDOMParent);
    /// What went wrong, as a text for the user: the request was refused by the
    /// lock or has no URL, the transfer failed, or the reply is not an envelope. A
    /// request class may also emit errors of its own with it.
    void ErroneousTransfer(const QString& sError);
    /// The reply file, opened. The object is valid for the duration of the emission;
    /// the file name does not change, and the file is removed after APIComplete unless
    /// the settings keep it.
    void APIDestinationFile(const QFile& qFile);
    /// Why the request did not do what it was made for: exactly once, from the
    /// destructor, immediately before APIComplete. It precedes each
    /// APIComplete(false), and also the APIComplete(true) of a request that did
    /// nothing (see there). The sentence is for the user; if the server gives a
    /// reason, the sentence is the server's (plain text). The details are for a log,
    /// and may be empty. An object that the lock refused emits it too.
    void signalFailure(AgentError::Code nCode, const QString& sSentence, const QString& sDetails);
    /// The end, exactly once, from the destructor: only the CAPI part of the request
    /// is left then. False when the call failed or went wrong. True also for a
    /// cancelled transfer, a reply file that could not be made, and a request that
    /// the lock refused: signalFailure precedes it in these cases.
    void APIComplete(bool bSucceeded);

public slots:
    /// Makes the reply file and emits APIDestinationFile. If no file can be made,
    /// the reply is dropped.
    virtual void onBeforeTransfer(const QString& sURL);
    /// Appends a piece of the reply to the reply file. The transfer is cut off when
    /// the reply exceeds "max reply size" or the file cannot be written. A class that
    /// overrides Execute connects its job to this and to onDownloadComplete.
    virtual void onDownloadReceive(KIO::Job* pJob, const QByteArray& arData);
    /// Checks the reply, emits the result, and destroys the object. An override must
    /// do the same.
    virtual void onDownloadComplete(KIO::Job* pJob);
    /// Called with the envelope's root element: a request class copies what it needs
    /// from it. It must not destroy the request.
    virtual void onSuccessfulTransfer(QDomElement* pElement) = 0;
    /// Writes the server's "msg" to standard output and, unless the request is
    /// silent, shows it in a box ("Unspecified API error" without one).
    virtual void onFailedTransfer(QDomElement* pElement);
    /// Writes the text to standard output and, unless the request is silent, shows
    /// it in a box. A request class calls it to fail.
    virtual void onErroneousTransfer(const QString& sErrorMsg);
    /// Ends a wait for this request.
    virtual void onAPIComplete(bool bSucceeded);

protected:
    /// Sets the reason that signalFailure will report. The first reason stays, except
    /// that any reason replaces AgentError::Other, which the base class sets when
    /// ErroneousTransfer comes without a reason. Without a sentence, the sentence of
    /// the code is used. Setting a reason does not make the request fail.
    void SetFailure(AgentError::Code nCode, const QString& sSentence = QString(),
                    const QString& sDetails = QString());
    /// For the constructor of a class that makes a CXMLNode of its whole reply: the copy
    /// then counts towards the memory that a reply may use.
    void CopiesReply();
    /// For a class that can read its reply from the file: a reply that is "OK", and that
    /// nobody but the object listens to (SuccessfulTransfer), is not made into a document.
    /// `take` is called with the file instead, open for reading, and with a function to be
    /// called now and then until the reply has had an effect: events are processed there,
    /// and the reading must end if it returns false. If `take` returns false, nothing may
    /// have happened, and the document is made after all; so a reply that is refused is
    /// always read as a document.
    void
    TakesReplyFile(std::function<bool(QIODevice& file, const std::function<bool()>& goOn)> take);
    /// What shows later whether the reply is still the same; in `take` and after it.
    Agent::TakenReply Taken() const;
    /// The text of a request that is refused because another one has the lock.
    static QString LockedText();
    /// The code that was set so far.
    AgentError::Code Failure() const;
    /// The reason for a refusal by the server ("resultcode"), if this function can
    /// have only one; RefusedByServer here.
    virtual AgentError::Code RefusalCode() const;
    /// Whether the constructor got past the lock, so that the request is counted
    /// and its own slots are connected.
    bool IsConnected() const;

    static CAPIList m_URLList; ///< the API directory, shared by all requests

    QFile m_APIFile; ///< the reply file; without a name before the transfer
    bool m_bSilent; ///< no boxes
    bool m_bSucceeded = true; ///< the argument of the coming APIComplete
    bool m_bWaitForDone; ///< Execute waits for the end

private:
    QString Start(const QString& sURL);
    void Abandon(AgentError::Code nReason, int nError, const QString& sText);
    void Interrupt();
    static QString InterruptedText();
    void ReportJobError(int nError, const QString& sText);
    void CutOff();
    bool IsReplyTrusted();
    void NoteDistrust(const QString& sCode, const QString& sSentence);
    bool TakeReplyFile();
    template <typename Read> bool ReadInterruptibly(const Read& read);
    QDomElement ReadReply(QDomDocument& document, QString& sWhy);
    void DispatchReply();
    void JudgeReply(QDomElement& root, const QString& sWhy);
    void RefuseReply(const QString& sWhy);
    void NoteMissingURL();
    void NoteMissingFile();
    void NoteSpoolError();
    void NoteRefusal(const QDomElement& element);
    QString Details(const QString& sWhat) const;

    static int m_nReferenceCount;
    static bool m_bExecutionLocked;
    static CAPI* m_pLockingAPI;
    static std::set<CAPI*> m_transferring; // those whose job runs
    static unsigned m_nAborts;

    class Private;
    const std::unique_ptr<Private> d;
};
