// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CAPIDownloadAppInfo
/// The request for the application information of products. Its reply file remains
/// when it ends: the caller reads it (CAppInfo) and removes it.

#pragma once

#include "../request/capi.h"

#include <vector>

class VANTRELAGENT_EXPORT CAPIDownloadAppInfo : public CAPI
{
    Q_OBJECT

public:
    /// `ids`: the serial numbers of the products. Does not wait.
    CAPIDownloadAppInfo(std::vector<long>& ids, bool bSilent);
    ~CAPIDownloadAppInfo() override;

    /// "?app_id[]=1&app_id[]=2"; empty without numbers. Also written to standard
    /// output.
    QString DecorateURI() override;
    /// False.
    bool CanDeleteAPIFile() override;

public slots:
    /// Does nothing: the reply file is the result.
    void onSuccessfulTransfer(QDomElement* pElement) override;

protected:
    /// UnknownProduct: a server that answers has no other reason to refuse.
    AgentError::Code RefusalCode() const override;

signals:
    /// For subclasses; not emitted here.
    void InformationDownloaded(bool bSucceeded);

private:
    std::vector<long> m_ids;
};
