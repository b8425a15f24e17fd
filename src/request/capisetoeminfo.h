// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CAPISetOEMInfo
/// Tells the server which system builder this installation came from. The
/// server's answer says nothing further; APIComplete tells whether it was one.

#pragma once

#include "capi.h"
#include "cgetoeminfo.h"

class VANTRELAGENT_EXPORT CAPISetOEMInfo : public CAPI
{
    Q_OBJECT

public:
    /// Silent, and does not wait. The builder's file is read now.
    CAPISetOEMInfo();

    /// "?id=" and the builder's identifier, as it stands.
    QString DecorateURI() override;

public slots:
    /// Does nothing: the answer holds nothing.
    void onSuccessfulTransfer(QDomElement* pElement) override;

private:
    CGetOEMInfo m_OEMInfo;
};
