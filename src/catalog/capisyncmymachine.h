// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CAPISyncMyMachine
/// The request for the profile of this machine: the applications that the server
/// keeps for its account. Applications that are not installed here, according to
/// dpkg's status file, are dropped, and the profile is saved to the file ".profile"
/// of the agent's data folder for the host to read (CXMLNode::ReadNode). Does not wait.
///
/// A profile is one element; each of its children named "application" has a
/// "name" and a "packagename" element. Any other content is kept.

#pragma once

#include "../request/capi.h"

class CXMLNode;

class VANTRELAGENT_EXPORT CAPISyncMyMachine : public CAPI
{
    Q_OBJECT

public:
    /// A profile with more applications is rejected: the file stays as it is.
    static constexpr int maxApplications = 80000;

    /// Silent or not.
    explicit CAPISyncMyMachine(bool bSilent);

    /// Deletes each application of `profile` whose package the status file does
    /// not know, or knows as not installed or marked for removal. Reads the
    /// status file once. Applications that the profile lacks are not added.
    virtual void KeepInstalledPackages(CXMLNode& profile);

public slots:
    /// Saves the first element of the reply, pruned. Without one, or if it cannot be
    /// written, the file stays as it is; this is not reported.
    void onSuccessfulTransfer(QDomElement* pElement) override;
};
