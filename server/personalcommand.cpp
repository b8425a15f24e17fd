// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The command that shows and changes the personal data in a database.

#include "base/text.h"
#include "base/wholefile.h"
#include "commandline.h"
#include "options.h"
#include "personalplace.h"
#include "shelves.h"
#include "sqlpersonaldata.h"
#include "storefile.h"

#include <iostream>

using namespace Agent;

namespace
{

const char help[] = R"(Usage: pakmart-storeserver personal DATABASE profile
       pakmart-storeserver personal DATABASE set-profile FILE
       pakmart-storeserver personal DATABASE registrations
       pakmart-storeserver personal DATABASE forget TIME

Shows the profile of the account as stanzas, or replaces it by those in FILE; lists
the registrations, a line for each, or removes those before a TIME such as
2026-01-31T12:00:00Z. The server may run meanwhile. DATABASE is one of

      --state FOLDER     that of SQLite in FOLDER
      --postgresql CONNECTION
                         one of PostgreSQL, such as
                         'host=/run/postgresql dbname=pakmart'

      --help             show this text

Exit status: 0 done, 1 failed, 2 wrong usage.
)";

void ShowProfile(SqlPersonalData& data)
{
    Profile profile;
    Require(data.ReadProfile(theAccount, profile));
    std::cout << ProfileText(profile);
}

void SetProfile(SqlPersonalData& data, const std::string& file)
{
    const std::string name = file.substr(file.rfind('/') + 1);
    const Profile profile = ParseProfile(ReadStoreFile(FolderOf(file), name).text, file);
    Require(data.WriteProfile(theAccount, profile));
    std::cout << "applications: " << profile.size() << '\n';
}

void ShowRegistrations(SqlPersonalData& data)
{
    Require(data.ReadRegistrations(
        [](const Registration& registration) { std::cout << LineOf(registration) << '\n'; }));
}

void Forget(SqlPersonalData& data, const std::string& text)
{
    std::int64_t time = 0;
    if (!ParseTime(text, time))
        throw StoreError("a time is written as 2026-01-31T12:00:00Z, not as " + Quoted(text));
    int count = 0;
    Require(data.ForgetRegistrations(time, count));
    std::cout << "removed: " << count << '\n';
}

struct Action {
    const char* name;
    std::size_t words; // its own and those after it
    void (*run)(SqlPersonalData& data, const std::string& word);
};

const Action* FindAction(const std::vector<std::string>& words)
{
    static const Action actions[]
        = { { "profile", 1, [](SqlPersonalData& data, const std::string&) { ShowProfile(data); } },
            { "set-profile", 2, SetProfile },
            { "registrations", 1,
              [](SqlPersonalData& data, const std::string&) { ShowRegistrations(data); } },
            { "forget", 2, Forget } };
    for (const Action& action : actions) {
        if (words.size() == action.words && words[0] == action.name)
            return &action;
    }
    return nullptr;
}

} // namespace

int PersonalCommand(int argc, char** argv)
{
    static const option names[] = { { "state", required_argument, nullptr, 'd' },
                                    { "postgresql", required_argument, nullptr, 'D' },
                                    { "help", no_argument, nullptr, 'h' },
                                    { nullptr, 0, nullptr, 0 } };
    PersonalPlace place;
    CommandWords words = ReadOptions(argc, argv, "", names, [&place](int letter) {
        if (letter == 'd' || letter == 'D')
            (letter == 'd' ? place.state : place.postgresql) = optarg;
        return letter == 'd' || letter == 'D';
    });
    if (words.error.empty() && !words.help && !place.IsDatabase())
        words.error = "--state or --postgresql is needed";
    const Action* const action = FindAction(words.rest);
    const std::size_t count = action ? action->words : words.rest.size() + 1;
    return RunCommand(words, help, count, "there is no such action, or a word is missing", [&] {
        action->run(*OpenDatabase(place), words.rest.back());
        return std::cout.flush() ? 0 : 1;
    });
}
