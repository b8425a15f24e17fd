// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/storesession.h"

#include "platform/statusreader.h"
#include "platform/transaction.h"

#include <algorithm>
#include <sstream>

namespace
{

// Adds options that nothing on the command line overrides.
void AddSettings(const std::vector<std::string>& settings, Arguments& arguments)
{
    for (std::vector<std::string>* words : { &arguments.words, &arguments.options }) {
        auto end = std::find(words->begin(), words->end(), "--");
        for (const std::string& setting : settings)
            end = words->insert(end, "--option=" + setting) + 1;
    }
    arguments.settings.insert(arguments.settings.end(), settings.begin(), settings.end());
}

void WriteLines(const std::string& text, const Writer& write)
{
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        write(PlainText(line).substr(0, LineReader::maxLine));
}

} // namespace

int StoreSession::Prepare(Arguments& arguments)
{
    const bool isUpdate = arguments.command == "update";
    if ((!arguments.ownSources && !arguments.trustedStores) || (!isUpdate && !Installs(arguments)))
        return -1;
    m_policy = ReadStorePolicy(m_root);
    const ChosenStores chosen = arguments.trustedStores
        ? AllStores(m_policy)
        : ChooseStores(arguments.sourcesList, m_policy);
    if (!chosen.refusal.empty()) {
        WriteLines(chosen.refusal, m_write);
        return aptFailure;
    }
    if (chosen.isUnsigned)
        AddSettings(
            { "APT::Get::AllowUnauthenticated=true", "Acquire::AllowInsecureRepositories=true" },
            arguments);
    return chosen.stores.empty() ? -1 : PrepareSigned(chosen, arguments);
}

int StoreSession::PrepareSigned(const ChosenStores& chosen, Arguments& arguments)
{
    const bool isUpdate = arguments.command == "update";
    m_lists = std::make_unique<StoreLists>(m_root, arguments.listsFolder);
    const bool areUsable
        = Lock(chosen, isUpdate, arguments.lockSeconds) && AreUsable(chosen.stores, isUpdate);
    if (m_lists->Signal() != 0)
        return 128 + m_lists->Signal();
    if (!areUsable)
        return aptFailure;
    if (isUpdate)
        return 0;
    m_lists->Lock(StoreLists::Access::Read, 0); // others may read meanwhile
    std::string lines;
    for (const TrustedStore& store : chosen.stores)
        lines += store.SourceLine();
    m_sources = std::make_unique<SourcesFile>(lines);
    AddSettings(FinalSettings(m_sources->Path(), m_lists->Folder()), arguments);
    arguments.listsFolder = m_lists->Folder();
    arguments.ownSources = arguments.hasSignedLists = true;
    return -1;
}

// Lists that were refreshed within the last minutes are only read. An install under way keeps
// others from changing them.
bool StoreSession::Lock(const ChosenStores& chosen, bool isUpdate, int seconds)
{
    using Access = StoreLists::Access;
    if (!m_lists->Open()) {
        m_write("E: The lists of the stores cannot be written: " + m_lists->Folder());
        return false;
    }
    const auto isFresh = [this](const TrustedStore& store) { return m_lists->IsFresh(store); };
    if (!isUpdate && m_lists->Lock(Access::Read, 0) != Access::None
        && std::all_of(chosen.stores.begin(), chosen.stores.end(), isFresh))
        return true;
    if (m_lists->Lock(Access::Change, seconds) != Access::None)
        return true;
    if (m_lists->Signal() == 0)
        m_write("E: The lists of the stores are in use by another program: " + m_lists->Folder());
    return false;
}

bool StoreSession::AreUsable(const std::vector<TrustedStore>& stores, bool isUpdate)
{
    bool all = true;
    for (const TrustedStore& store : stores)
        all = IsUsable(store, isUpdate) && m_lists->Signal() == 0 && all;
    return all;
}

// An update fails if a store does. An install still works with what was accepted before,
// until that expires.
bool StoreSession::IsUsable(const TrustedStore& store, bool isUpdate)
{
    if (!isUpdate && m_lists->IsFresh(store))
        return true;
    std::string error;
    if (m_lists->Refresh(store, m_policy.settings, error)) {
        if (isUpdate)
            SayWhatIsOffered(store);
        return true;
    }
    if (isUpdate || !m_lists->Fault(store).empty()) {
        WriteLines(error, m_write);
        return false;
    }
    WriteLines("W:" + error.substr(2), m_write);
    SayWhatIsOffered(store);
    return true;
}

void StoreSession::SayWhatIsOffered(const TrustedStore& store)
{
    m_write("Using the offers of " + store.uri + " of " + DateText(m_lists->Release(store).date));
}
