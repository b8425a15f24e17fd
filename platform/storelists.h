// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The package lists of signed stores. apt fetches and verifies them; they are accepted one
// store at a time, and only if their signed file passes the checks of releasefile.h as well.
// What is not accepted changes nothing: the lists stay as they were.

#pragma once

#include "base/descriptor.h"
#include "platform/relay.h"
#include "platform/trustedstores.h"

#include <string>

class StoreLists
{
public:
    // The machine's lists, or `folder` for an account that may not write those.
    StoreLists(const std::string& root, const std::string& folder);

    const std::string& Folder() const { return m_folder; }

    // Makes the folder and its lock. False, with errno, if that fails.
    bool Open();

    // Waits for other front ends that use the lists, and keeps those away that change them,
    // or also those that read them, until this object ends. The result is `access`, or None
    // when the time was over or a signal came.
    enum class Access { None, Read, Change };
    Access Lock(Access access, int seconds);

    // Fetches what has changed in a store. False, with an error line in `error`, if what
    // it offers is not accepted. A signal that ended the fetch, or a wait, is in Signal().
    bool Refresh(const TrustedStore& store, const Agent::StoreSettings& settings,
                 std::string& error);
    int Signal() const { return m_signal; }

    // Whether the store was refreshed within the last minutes.
    bool IsFresh(const TrustedStore& store) const;

    // Why the present lists of a store cannot be used, as the rest of a sentence; empty if
    // they can.
    std::string Fault(const TrustedStore& store) const;

    // The signed file of a store in the present lists.
    ReleaseFile Release(const TrustedStore& store) const;

private:
    // Has apt fetch the store into a folder of lists: all, or only the signed file. The
    // error is empty on success.
    std::string Fetch(const TrustedStore& store, const std::string& folder, bool onlyRelease,
                      int stallSeconds);
    std::string FetchChanged(const TrustedStore& store, const Agent::StoreSettings& settings);
    std::string Accept(const TrustedStore& store, const std::string& staged);
    void MarkFresh(const TrustedStore& store) const;

    const std::string m_root;
    std::string m_folder; // without a slash at its end
    int m_signal = 0;
    Agent::Descriptor m_lock;
};
