// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CAPISetOEMInfo
/// Reports to the server which system builder this installation came from. The
/// server's answer has no content; APIComplete says whether the call succeeded.

#pragma once

#include "capi.h"
#include "cgetoeminfo.h"

class VANTRELAGENT_EXPORT CAPISetOEMInfo : public CAPI
{
    Q_OBJECT

public:
    /// Silent, and does not wait. The builder's file is read now.
    CAPISetOEMInfo();

    /// "?id=" and the builder's identifier, not encoded.
    QString DecorateURI() override;

public slots:
    /// Does nothing: the answer has no content.
    void onSuccessfulTransfer(QDomElement* pElement) override;

private:
    CGetOEMInfo m_OEMInfo;
};
