// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CAPIGetSourcesList
/// The request for the store's lists of package sources. It rewrites the private
/// sources files and tells which of them changed.
///
/// A line of such a file is the entry as the package tools read it, two blanks,
/// '#', and the entry's time stamp.
///
/// Nothing is written while an install or a refresh works on the private tree: the
/// reply waits for its end and emits signalWaitingFor. A request whose reply comes in
/// inside that work, where the wait could not end, fails with AgentError::LockHeld.

#pragma once

#include "../request/capi.h"

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

    /// Writes the entries of a "list" element to the file of its tree.
    void ProcessSourcesListEntry(CXMLNode* list);

    /// Rewrites the file from "entry" elements, in one step. Returns whether an
    /// entry came, went, or has another time stamp; also false, with the file as
    /// it was, when it cannot be written. An entry that could break out of its
    /// line, or turn on an option of the package tools, is left out.
    bool UpdateSourcesList(const std::string& path, std::vector<CXMLNode*>& entries);

public slots:
    /// The payload: "list" elements, each of "entry" elements. One whose `type` is
    /// "dep" is that of the deps tree, another one that of the tree for installs.
    void onSuccessfulTransfer(QDomElement* pElement) override;

signals:
    /// The sources file of a tree changed: the deps tree's, or the one's for
    /// installs. Once for each "list" of the reply.
    ///
    /// The tree is this request's until the slots have returned: they may refresh its
    /// lists (CRunAptGet::onRunAptGetUpdate), but an install that is started by one is
    /// refused.
    void signalSourcesListModified(bool deps);
    /// The reply waits for another program's work: a text for the user that names it.
    void signalWaitingFor(const std::string& text);

private:
    friend class CRunAptGet;

    bool TakeTree(Agent::TreeLock& tree);
    void ProcessLists(const std::vector<CXMLNode*>& lists);

    bool m_bHasTree = false; // part of a run that has the private tree
};
