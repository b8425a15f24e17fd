// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The trace of a run shows what happened.

#include "catalog/capigetaisles.h"
#include "catalog/ccatalogmgr.h"
#include "request/capisetoeminfo.h"
#include "request/capistatus.h"
#include "requests.h"

#include <QtTest>

namespace
{

// The scopes as indented lines, with repetitions in a row reduced to one.
QStringList Story(const QStringList& events)
{
    QStringList story;
    QString indent;
    for (const QString& event : events) {
        if (event.startsWith(QLatin1Char('-'))) {
            indent.chop(1);
            continue;
        }
        const bool scope = event.startsWith(QLatin1Char('+'));
        const QString line = indent + (scope ? event.mid(1) : QLatin1String("= ") + event);
        if (story.isEmpty() || story.last() != line)
            story << line;
        if (scope)
            indent += QLatin1Char(' ');
    }
    return story;
}

} // namespace

class TraceTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;

    void compare(const QStringList& story, const char* expected)
    {
        const QStringList lines
            = QString::fromLatin1(expected).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QVERIFY2(story == lines, qPrintable(story.join(QLatin1Char('\n'))));
    }

private slots:
    void initTestCase()
    {
        Setting("agent api url", m_server.url("/api").toStdString());
        m_server.answer("/api",
                        Directory({ { "CAPIGetAisles", m_server.url("/aisles") },
                                    { "CAPISetOEMInfo", m_server.url("/oem") } }));
        m_server.answer(
            "/aisles",
            ScriptedServer::http("<agentfunction resultcode=\"OK\"><aisles/></agentfunction>"));
        m_server.answer("/oem", ScriptedServer::http("<agentfunction msg=\"No\"/>"));
    }

    void theFirstRequestFetchesTheDirectory()
    {
        Trace trace;
        QEventLoop loop;
        auto* request = new CAPIGetAisles(true);
        connect(request, &CAPI::APIComplete, &loop, &QEventLoop::quit, Qt::QueuedConnection);
        request->Execute();
        loop.exec();
        compare(Story(trace.events()), R"(
CAPI::CAPI
 CAPI::GetURLList
  CAPI::CAPI
   CAPI::GetURLList
   CAPI::LockAPI
   CAPI::AddRef
  CAPIGetAPIList::CAPIGetAPIList
  CAPI::Execute
   CAPI::GetURL
    CAPI::GetAgentAPIURL
   CAPI::onBeforeTransfer
   CAPI::WaitForDone
    CAPI::onDownloadReceive
    CAPI::onDownloadComplete
     CAPIGetAPIList::onSuccessfulTransfer
     CAPI::~CAPI
      CAPI::Release
      CAPI::LockAPI
      CAPI::onAPIComplete
      CAPI::CanDeleteAPIFile
 CAPI::LockAPI
 CAPI::AddRef
CAPIGetAisles::CAPIGetAisles
CAPI::Execute
 CAPI::GetURL
  CAPI::GetURLList
 CAPI::onBeforeTransfer
CAPI::onDownloadReceive
CAPI::onDownloadComplete
 CAPIGetAisles::onSuccessfulTransfer
 CAPI::~CAPI
  CAPI::Release
  CAPI::LockAPI
  CAPI::onAPIComplete
  CAPI::CanDeleteAPIFile
)");
    }

    void aRefusalSaysItsReason()
    {
        Trace trace;
        QEventLoop loop;
        auto* request = new CAPISetOEMInfo;
        connect(request, &CAPI::APIComplete, &loop, &QEventLoop::quit, Qt::QueuedConnection);
        request->Execute();
        loop.exec();
        compare(Story(trace.events()), R"(
CAPI::CAPI
 CAPI::GetURLList
 CAPI::LockAPI
 CAPI::AddRef
CGetOEMInfo::CGetOEMInfo
 CGetOEMInfo::readFile
CAPISetOEMInfo::CAPISetOEMInfo
CAPI::Execute
 CAPI::GetURL
  CAPI::GetURLList
 CAPISetOEMInfo::DecorateURI
 CAPI::onBeforeTransfer
CAPI::onDownloadReceive
CAPI::onDownloadComplete
 CAPI::SetFailure
  = refused-by-server
 CAPI::SetFailure
 CAPI::~CAPI
  CAPI::Release
  CAPI::LockAPI
  CAPI::SetFailure
  CAPI::onAPIComplete
  CAPI::CanDeleteAPIFile
)");
    }

    void aStatusCheckHasItsScopes()
    {
        Trace trace;
        QVERIFY((new CAPIStatus)->Execute());
        compare(Story(trace.events()), R"(
CAPIStatus::CAPIStatus
CAPIStatus::Execute
 CAPI::GetURL
  CAPI::GetAgentAPIURL
 CAPIStatus::onDownloadComplete
 CAPIStatus::~CAPIStatus
)");
    }

    void aCatalogThatIsNotThereIsOneScope()
    {
        Trace trace;
        CCatalogMgr().ReadCatalog();
        compare(Story(trace.events()), "CCatalogMgr::ReadCatalog");
    }
};

QTEST_MAIN(TraceTest)
#include "tst_trace.moc"
