// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CAPIGetSourcesList
/// The request for the store's lists of package sources. It rewrites the private
/// sources files and reports which of them changed.
///
/// A line of such a file is the entry as the package tools read it, two blanks,
/// '#', and the entry's time stamp.
///
/// Nothing is written while an install or a refresh works on the private tree: the
/// request waits for its end and emits signalWaitingFor. If the reply is handled from
/// within that work, waiting could never end, and the request fails with
/// AgentError::LockHeld.

#pragma once

#include "../request/capi.h"

#include <memory>
#include <string>
#include <vector>

class CXMLNode;

namespace Agent
{
class TreeLock;
} // namespace Agent

class VANTRELAGENT_EXPORT CAPIGetSourcesList : public CAPI
{
    Q_OBJECT

public:
    /// Silent or not; with `bWait` Execute returns after the end.
    CAPIGetSourcesList(bool bSilent, bool bWait);
    ~CAPIGetSourcesList() override;

    /// Writes the entries of a "list" element to the file of its tree.
    void ProcessSourcesListEntry(CXMLNode* list);

    /// Rewrites the file from "entry" elements, in one step. Returns whether an
    /// entry was added, removed, or got another time stamp; also false, with the file
    /// unchanged, when it cannot be written. An entry that could break out of its
    /// line, or set an option of the package tools, is left out.
    bool UpdateSourcesList(const std::string& path, std::vector<CXMLNode*>& entries);

public slots:
    /// The payload: "list" elements, each with "entry" elements. A list with the `type`
    /// "dep" is for the deps tree, any other for the tree for installs.
    void onSuccessfulTransfer(QDomElement* pElement) override;

signals:
    /// The sources file changed, of the deps tree or of the tree for installs. Once for
    /// each "list" of the reply.
    ///
    /// The request keeps the tree locked until the slots have returned: they may refresh
    /// its lists (CRunAptGet::onRunAptGetUpdate), but an install started in a slot is
    /// refused.
    void signalSourcesListModified(bool deps);
    /// The reply waits for another program's work: a text for the user that names it.
    void signalWaitingFor(const std::string& text);

private:
    friend class CRunAptGet;

    void SetHasTree(bool hasTree);
    bool TakeTree(Agent::TreeLock& tree);
    void ProcessLists(const std::vector<CXMLNode*>& lists);

    class Private;
    const std::unique_ptr<Private> d;
};
