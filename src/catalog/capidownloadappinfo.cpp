// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalog/capidownloadappinfo.h"

#include "support/ctracer.h"
#include "util/standardoutput.h"

using namespace Agent;

CAPIDownloadAppInfo::CAPIDownloadAppInfo(std::vector<long>& ids, bool bSilent)
    : CAPI(bSilent, false, false), m_ids(ids)
{
    CTracer tracer("CAPIDownloadAppInfo::CAPIDownloadAppInfo");
}

CAPIDownloadAppInfo::~CAPIDownloadAppInfo()
{
    CTracer tracer("CAPIDownloadAppInfo::~CAPIDownloadAppInfo");
    // The base destructor can no longer ask this class whether it may remove the
    // file: without a name it removes none.
    m_APIFile.close();
    m_APIFile.setFileName(QString());
}

QString CAPIDownloadAppInfo::DecorateURI()
{
    CTracer tracer("CAPIDownloadAppInfo::DecorateURI");
    QString query;
    for (const long id : m_ids) {
        query += query.isEmpty() ? QLatin1Char('?') : QLatin1Char('&');
        query += QLatin1String("app_id[]=") + QString::number(id);
    }
    WriteLine(query);
    return query;
}

bool CAPIDownloadAppInfo::CanDeleteAPIFile()
{
    CTracer tracer("CAPIDownloadAppInfo::CanDeleteAPIFile");
    return false;
}

void CAPIDownloadAppInfo::onSuccessfulTransfer(QDomElement*)
{
    CTracer tracer("CAPIDownloadAppInfo::onSuccessfulTransfer");
}

AgentError::Code CAPIDownloadAppInfo::RefusalCode() const
{
    return AgentError::UnknownProduct;
}
