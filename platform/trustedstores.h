// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The stores that a machine trusts, as its administrator has written them down:
//
//     /etc/pakmart/stores.d/*.sources   a stanza for each store, with its key
//     /etc/pakmart/settings             [Stores], exceptions and limits
//
// docs/signed-stores.md describes both. Files that others than the administrator can change
// do not count.

#pragma once

#include "base/storesettings.h"
#include "platform/releasefile.h"

#include <string>
#include <vector>

struct TrustedStore {
    std::string uri; // without a slash at its end
    std::string suite;
    std::string components;
    std::string keyFile; // below the private root, if there is one
    ReleaseExpectations expected;
    std::string replies; // the address of the server whose replies its key covers

    // The line of apt's sources, with the options that the machine's settings cannot undo.
    std::string SourceLine() const;
    // The name of its signed file in apt's lists.
    std::string ReleaseName() const;
};

// What the machine's administrator has decided.
struct StorePolicy {
    std::vector<TrustedStore> stores;
    Agent::StoreSettings settings;
    std::vector<std::string> faults; // of the files; a file with one does not count
};

StorePolicy ReadStorePolicy(const std::string& root);

// The stores that a sources list of the agent selects.
struct ChosenStores {
    std::vector<TrustedStore> stores; // signed
    bool isUnsigned = false; // all of them are, and that is allowed
    std::string refusal; // why none may be used; empty if they may
};

ChosenStores ChooseStores(const std::string& sourcesList, const StorePolicy& policy);

// All signed ones.
ChosenStores AllStores(const StorePolicy& policy);
