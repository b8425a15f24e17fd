// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What becomes of a reply: spooled, parsed, judged, dispatched.

#include "request/capi.h"
#include "request/replydocument.h"
#include "request/transfer.h"
#include "support/cconfigfile.h"
#include "support/ctracer.h"
#include "util/diagnostics.h"
#include "util/output.h"
#include "util/paths.h"
#include "util/vendor.h"

#include <KIO/Global>
#include <KIO/Job>
#include <KMessageBox>
#include <QDomDocument>
#include <QTimer>
#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

namespace
{

QString ClassName(const QObject* object)
{
    return QString::fromLatin1(object->metaObject()->className());
}

QString FormatText()
{
    const CConfigFile settings(SettingsFile(), false);
    return QLatin1String("Pakmart successfully contacted the "
                         "VantrelNet server; however, the response "
                         "from the server is not in an understandable "
                         "format.\n\n"
                         "If you continue to get this message, please "
                         "visit ")
        + QString::fromStdString(settings.GetStringValue("support web site", VendorSupportSite))
        + QLatin1String(" for further "
                        "assistance.");
}

void ShowError(const QString& sText)
{
    KMessageBox::error(nullptr, sText, QString(), KMessageBox::Notify);
}

// Makes the next free reply file and returns its name. The file is one that this
// call has made: nothing that stands or appears under a name is followed or
// overwritten, the next one is taken. Where no file can be made at all, the name
// is that of the attempt.
std::string MakeSpoolFile()
{
    static long serial = 0;
    const long now = long(std::time(nullptr));
    while (true) {
        const std::string name
            = SystemPath("/tmp/" + std::to_string(now) + '_' + std::to_string(serial++) + ".xml");
        const int fd = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0 && errno == EEXIST)
            continue;
        if (fd >= 0)
            close(fd);
        return name;
    }
}

} // namespace

void CAPI::onBeforeTransfer(const QString& sURL)
{
    CTracer tracer("CAPI::onBeforeTransfer");
    WriteLine(ClassName(this) + QLatin1String(" - ") + sURL);
    m_APIFile.setFileName(QFile::decodeName(MakeSpoolFile().c_str()));
    // Not truncated: it is empty, and ext4 writes out at once what was.
    if (!m_APIFile.open(QIODevice::ReadWrite | QIODevice::ExistingOnly | QIODevice::Unbuffered))
        qCInfo(logRequest, "cannot make the reply file %s: %s",
               qUtf8Printable(m_APIFile.fileName()), qUtf8Printable(m_APIFile.errorString()));
    emit APIDestinationFile(m_APIFile);
}

void CAPI::onDownloadReceive(KIO::Job*, const QByteArray& arData)
{
    CTracer tracer("CAPI::onDownloadReceive");
    if (m_APIFile.isOpen())
        m_APIFile.write(arData);
    m_nReceived += std::uint64_t(arData.size());
    if (m_nReceived > m_nMaxReply)
        CutOff();
}

// Ends the transfer of a reply that is refused for its size whatever follows: a
// server could go on until the disk is full. The request ends a little later,
// since its caller has a piece of the reply in hand.
void CAPI::CutOff()
{
    if (m_transferring.erase(this) == 0)
        return;
    if (m_pJob)
        m_pJob->kill(KJob::Quietly);
    qCInfo(logRequest, "%s was cut off behind %lld bytes", qUtf8Printable(GetAPIName()),
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
    qCDebug(logRequest, "%s has ended its transfer, error %d, with %lld bytes",
            qUtf8Printable(GetAPIName()), pJob->error(), m_APIFile.size());
    const int error = TransferError(pJob);
    if (error == 0) {
        DispatchReply();
    } else if (error != KIO::ERR_USER_CANCELED) {
        ReportJobError(error, TransferErrorText(pJob));
    }
    delete this;
}

void CAPI::ReportJobError(int nError, const QString& sText)
{
    WriteLine(ClassName(this) + QLatin1String(" job returned error ") + QString::number(nError));
    emit ErroneousTransfer(sText);
}

void CAPI::DispatchReply()
{
    if (!m_APIFile.open(QIODevice::ReadOnly))
        return;
    QDomDocument document(QStringLiteral("VantrelAgentXML"));
    QDomElement root;
    if (ReadReplyDocument(m_APIFile, document, m_nMaxReply))
        root = document.documentElement();
    if (root.isNull()) {
        WriteLine(QStringLiteral("CAPI::onDownloadComplete - no xml received"));
        emit ErroneousTransfer(FormatText());
    } else if (root.tagName() != QLatin1String("agentfunction")) {
        WriteLine(QStringLiteral("CAPI::onDownloadComplete - bad xml received"));
        emit ErroneousTransfer(FormatText());
    } else if (root.attribute(QStringLiteral("resultcode"), QStringLiteral("FAILED"))
               == QLatin1String("OK")) {
        emit SuccessfulTransfer(&root);
    } else {
        emit FailedTransfer(&root);
    }
    m_APIFile.close();
}

void CAPI::onFailedTransfer(QDomElement* pElement)
{
    const QString msg = QStringLiteral("msg");
    WriteLine(ClassName(this) + QLatin1String(" - api failure = ") + pElement->attribute(msg));
    if (!m_bSilent)
        ShowError(pElement->attribute(msg, QStringLiteral("Unspecified API error")));
    m_bSucceeded = false;
}

void CAPI::onErroneousTransfer(const QString& sErrorMsg)
{
    CTracer tracer("CAPI::onErroneousTransfer");
    tracer.trace_out(sErrorMsg.toStdString());
    WriteLine(ClassName(this) + QLatin1String(" - api error = '") + sErrorMsg + QLatin1Char('\''));
    if (!m_bSilent)
        ShowError(sErrorMsg);
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
