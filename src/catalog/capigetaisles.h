// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CAPIGetAisles
/// The request for the store's aisles, which keeps them in the file ".aisles" of
/// the agent's data folder for the host to read (CXMLNode::ReadNode). What is in
/// them is not looked at. Does not wait.

#pragma once

#include "../request/capi.h"

class VANTRELAGENT_EXPORT CAPIGetAisles : public CAPI
{
    Q_OBJECT

public:
    /// Silent or not.
    explicit CAPIGetAisles(bool bSilent);

public slots:
    /// Saves the first element of the reply. The file stays as it is when there
    /// is none, or when it cannot be written; nothing is told of that.
    void onSuccessfulTransfer(QDomElement* pElement) override;
};
