// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CAPIGetPictures
/// The request for the pictures of the store's products: icons, mostly. Stores without
/// pictures do not have the function (AgentError::UnknownFunction). Does not wait.
///
///     auto* request = new CAPIGetPictures(true);
///     QObject::connect(request, &CAPIGetPictures::signalPictures, host, &Host::onPictures);
///     request->Execute();

#pragma once

#include "../request/capi.h"

#include <QMap>
#include <QString>
#include <QUrl>

class VANTRELAGENT_EXPORT CAPIGetPictures : public CAPI
{
    Q_OBJECT

public:
    /// Silent or not.
    explicit CAPIGetPictures(bool bSilent);

public slots:
    /// Emits the pictures of the reply's first element. A reply without one, or with a folder
    /// that is not a web address, is an error.
    void onSuccessfulTransfer(QDomElement* pElement) override;

signals:
    /// Once, before APIComplete: the address that the names are appended to, which ends in a
    /// slash, and the names of the pictures by the serial numbers of their products. A name is
    /// the SHA-256 of the file in 64 small hexadecimal digits, with ".png" after it; what has
    /// another form is passed over, and so is everything after the first 100,000 pictures.
    void signalPictures(const QUrl& folder, const QMap<int, QString>& names);
};
