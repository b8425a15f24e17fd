// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CAPIGetAPIList
/// The request for the API directory. The first request of a process makes one;
/// hosts do not need to.

#pragma once

#include "capi.h"

class VANTRELAGENT_EXPORT CAPIGetAPIList : public CAPI
{
    Q_OBJECT

public:
    /// Exclusive, and waits for its end.
    explicit CAPIGetAPIList(bool bSilent);

    /// "agentapi", whose URL is the directory's own.
    QString GetAPIName() override;

public slots:
    /// Replaces the directory by that of the reply: `getagentapi` elements that hold
    /// `api` elements, each with a `name` and a `url`.
    void onSuccessfulTransfer(QDomElement* pElement) override;
};
