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

#include "../util/export.h"
#include "agenterror.h"
#include "capilist.h"

#include <QDomElement>
#include <QFile>
#include <QObject>
#include <QPointer>
#include <QString>
#include <memory>
#include <set>

class KJob;

namespace Agent
{
class SpoolFile;
}

namespace KIO
{
class Job;
}

class VANTRELAGENT_EXPORT CAPI : public QObject
{
    Q_OBJECT

public:
    /// `bSilent`: failures are logged but no box is shown. `bExclusive`: no
    /// other request may run meanwhile; granted only when none is alive. A
    /// request that cannot have its lock, or is made while another holds it, is
    /// neither counted nor listens to its own signals. `bWaitForDone`: Execute
    /// returns only after the object has destroyed itself.
    CAPI(bool bSilent, bool bExclusive, bool bWaitForDone);
    /// Gives the lock and the count back, emits APIComplete, and removes the reply
    /// file unless the settings keep it. Requests do this themselves.
    ~CAPI() override;

    /// Starts the request. True when the transfer was started (and, for a
    /// request that waits, has ended); false when it could not start: its reason
    /// went out through ErroneousTransfer and the object is gone. Either way the
    /// object is not to be touched afterwards.
    virtual bool Execute();

    /// The name by which the directory lists the function: the class name.
    virtual QString GetAPIName();

    /// Whether the reply file may be removed when the request ends: unless the
    /// setting "keep agent xml" is other than 0.
    virtual bool CanDeleteAPIFile();

    /// The query text that is appended to the function's URL; empty here.
    virtual QString DecorateURI();

    /// Runs the event loop until the request has been destroyed.
    void WaitForDone();
    /// Whether APIComplete has come, for a request that is still there.
    bool CheckIfDone() const;

    /// The number of live requests of the process that got past the lock; each of
    /// these returns the count after the operation, which is never below 0.
    /// Requests count themselves.
    /// @{
    int AddRef();
    int Release();
    int ReferenceCount() const;
    /// @}

    /// Takes (`bLock`) or gives back the exclusive lock; false when another
    /// request holds it, or when it is asked for while requests are alive.
    bool LockAPI(bool bLock);
    /// True when a request other than `pAPI` holds the lock.
    bool APILocked(CAPI* pAPI) const;

    /// Ends every transfer that is running, and every reply that is being read, as a
    /// failure, for a host that is asked to end. Each request emits its signals
    /// (AgentError::Cancelled), shows no box, and destroys itself; one whose reply
    /// is being read does so within the next passes of the event loop. A status
    /// check (CAPIStatus) counts it as an error.
    static void AbortTransfers();
    /// How often AbortTransfers was called: for waits that it shall end.
    static unsigned AbortCount();

    /// Ends this request's transfer as one that the user cancelled: silently, and as
    /// a success. False when none runs; otherwise the request is gone afterwards.
    bool CancelTransfer();

    /// Fetches the directory, once per process: a failure is not retried.
    static void GetURLList();
    /// The URL of a function; empty when the directory does not list it.
    static QString GetURL(const QString& sAPIName);
    /// The URL of the directory itself: the setting "agent api url".
    static QString GetAgentAPIURL();

    /// Whether a file (without an argument: the reply file) begins with
    /// `<?xml` and goes on. False where it cannot be read.
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
    /// lock or has no URL, the transfer failed, or the reply is no envelope. A
    /// request class may tell an error of its own by it.
    void ErroneousTransfer(const QString& sError);
    /// The reply file, opened. It is good for the duration of the emission; its
    /// name stays, and the file is gone after APIComplete unless the settings
    /// keep it.
    void APIDestinationFile(const QFile& qFile);
    /// Why the request did not do what it was made for: exactly once, from the
    /// destructor, immediately before APIComplete. It comes before each
    /// APIComplete(false), and before the APIComplete(true) of a request that did
    /// nothing all the same (see there). The sentence is for the user; where the
    /// server says why, it is the server's (plain text). The details are for a log,
    /// and may be empty. An object that the lock refused emits it too.
    void signalFailure(AgentError::Code nCode, const QString& sSentence, const QString& sDetails);
    /// The end, exactly once, from the destructor: the request is no more than a
    /// CAPI then. False when the call failed or went wrong. A transfer that was
    /// cancelled and a reply file that could not be made count as success, and so
    /// does a request that the lock refused: signalFailure comes before it then.
    void APIComplete(bool bSucceeded);

public slots:
    /// Makes the reply file and emits APIDestinationFile. Where no file can be
    /// made the reply is dropped.
    virtual void onBeforeTransfer(const QString& sURL);
    /// Appends a piece of the reply to the reply file. Over "max reply size", and
    /// where the file cannot be written, the transfer is cut off. A class that
    /// replaces Execute connects its job to this and to onDownloadComplete.
    virtual void onDownloadReceive(KIO::Job* pJob, const QByteArray& arData);
    /// Judges the reply, emits what it came to, and destroys the object: a class
    /// that replaces this has that duty.
    virtual void onDownloadComplete(KIO::Job* pJob);
    /// Called with the envelope's root element: a request class copies out of it
    /// what it needs. It must not destroy the request.
    virtual void onSuccessfulTransfer(QDomElement* pElement) = 0;
    /// Writes the server's "msg" to standard output and, unless the request is
    /// silent, shows it in a box ("Unspecified API error" without one).
    virtual void onFailedTransfer(QDomElement* pElement);
    /// Writes the text to standard output and, unless the request is silent, shows
    /// it in a box. A request class calls it to make itself a failure.
    virtual void onErroneousTransfer(const QString& sErrorMsg);
    /// Ends a wait for this request.
    virtual void onAPIComplete(bool bSucceeded);

protected:
    /// Says why the request fails, for signalFailure. The first reason stays, but
    /// any other takes the place of AgentError::Other, which the base gives to a
    /// text of ErroneousTransfer that comes without a reason. Without a sentence it
    /// is that of the code. It does not by itself make the request a failure.
    void SetFailure(AgentError::Code nCode, const QString& sSentence = QString(),
                    const QString& sDetails = QString());
    /// For the constructor of a class that makes a CXMLNode of its whole reply: what that
    /// takes is part of the memory that a reply may cost.
    void CopiesReply() { m_bCopiesReply = true; }
    /// What a request says that is refused since another one has the lock.
    static QString LockedText();
    /// The code that was set so far.
    AgentError::Code Failure() const { return m_nFailure; }
    /// The reason why the server refuses this function ("resultcode"), where there
    /// is only one; RefusedByServer here.
    virtual AgentError::Code RefusalCode() const;
    /// Whether the constructor got past the lock, so that the request is counted
    /// and its own slots are connected.
    bool IsConnected() const { return m_bConnected; }

    static CAPIList m_URLList; ///< the API directory, of all requests

    QFile m_APIFile; ///< the reply file; without a name before the transfer
    bool m_bSilent; ///< no boxes
    bool m_bSucceeded = true; ///< what APIComplete will tell
    bool m_bWaitForDone; ///< Execute waits for the end

private:
    QString Start(const QString& sURL);
    void Abandon(AgentError::Code nReason, int nError, const QString& sText);
    void Interrupt();
    static QString InterruptedText();
    void ReportJobError(int nError, const QString& sText);
    void CutOff();
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

    AgentError::Code m_nFailure = AgentError::NoFailure;
    QString m_sFailure; // the sentence
    QString m_sDetails;
    QString m_sURL; // asked for
    QString m_sStatus; // of HTTP
    std::unique_ptr<Agent::SpoolFile> m_pSpool;
    int m_nSpoolError = 0; // why the reply file could not be made or written
    bool m_bConnected = false;
    bool m_bCopiesReply = false;
    bool m_bReading = false; // the reply is being taken apart
    bool m_bInterrupted = false;
    QPointer<KJob> m_pJob;
    std::uint64_t m_nMaxReply = 0; // bytes that the reply may have
    std::uint64_t m_nReceived = 0; // that it has so far

    // Shared with the frame that waits, which outlives the object.
    std::shared_ptr<bool> m_bDone;
};
