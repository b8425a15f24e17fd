// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CAPIGetNews
/// The request for the headlines of the store, the newest ones first.
///
///     auto* request = new CAPIGetNews(3, true);
///     QObject::connect(request, &CAPIGetNews::signalNews, host, &Host::onNews);
///     request->Execute();

#pragma once

#include "request/capi.h"

#include <QStringList>

class VANTRELAGENT_EXPORT CAPIGetNews : public CAPI
{
    Q_OBJECT

public:
    /// At most `count` headlines, 1 or more. Does not wait.
    CAPIGetNews(int count, bool bSilent);

    /// "?count=N".
    QString DecorateURI() override;

public slots:
    /// The payload: "headline" elements. A reply without one is an error.
    void onSuccessfulTransfer(QDomElement* pElement) override;

signals:
    /// The headlines as the user reads them, before APIComplete. Not emitted without
    /// headlines.
    void signalNews(const QStringList& headlines);

private:
    const int m_nCount;
};
