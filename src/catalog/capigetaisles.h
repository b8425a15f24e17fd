// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CAPIGetAisles
/// The request for the store's aisles, which saves them to the file ".aisles" of
/// the agent's data folder for the host to read (CXMLNode::ReadNode). Their content
/// is not interpreted. Does not wait.

#pragma once

#include "../request/capi.h"

class VANTRELAGENT_EXPORT CAPIGetAisles : public CAPI
{
    Q_OBJECT

public:
    /// Silent or not.
    explicit CAPIGetAisles(bool bSilent);

public slots:
    /// Saves the first element of the reply. Without one, or if it cannot be written,
    /// the file stays as it is; this is not reported.
    void onSuccessfulTransfer(QDomElement* pElement) override;
};
