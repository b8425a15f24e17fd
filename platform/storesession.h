// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What a run of the front end does about the signatures of the stores whose sources list it
// got, before apt-get runs.

#pragma once

#include "platform/arguments.h"
#include "platform/relay.h"
#include "platform/sourcesfile.h"
#include "platform/storelists.h"

#include <memory>
#include <string>

class StoreSession
{
public:
    StoreSession(const std::string& root, const Writer& write) : m_root(root), m_write(write) { }

    // Refreshes the lists of the stores, where necessary, and makes the arguments use them.
    // Returns the exit status if the run ends with this, after error lines unless it is 0;
    // -1 if it goes on.
    int Prepare(Arguments& arguments);

    // In which at least 1 KB a second must arrive.
    int StallSeconds() const { return m_policy.settings.stallSeconds; }

private:
    int PrepareSigned(const ChosenStores& chosen, Arguments& arguments);
    bool Lock(const ChosenStores& chosen, bool isUpdate, int seconds);
    bool AreUsable(const std::vector<TrustedStore>& stores, bool isUpdate);
    bool IsUsable(const TrustedStore& store, bool isUpdate);
    void SayWhatIsOffered(const TrustedStore& store);

    const std::string m_root;
    const Writer& m_write;
    StorePolicy m_policy;
    std::unique_ptr<StoreLists> m_lists;
    std::unique_ptr<SourcesFile> m_sources;
};
