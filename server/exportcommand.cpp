// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The command that writes a store as files for a web server.

#include "base/text.h"
#include "commandline.h"
#include "export.h"
#include "options.h"

#include <charconv>
#include <cstring>
#include <iostream>

using namespace Agent;

namespace
{

const char help[] = R"(Usage: pakmart-storeserver export --public-url URL [OPTION]... STORE FOLDER

Writes all answers of the store in the folder STORE that are the same for everybody
as files into FOLDER, for nginx, with the site in nginx-export.conf. They become the
current version in one step. Run it again after each change of the store, and have
nginx read its configuration again. A signed store needs an export each day.

      --public-url URL   the address at which clients reach nginx
      --sign FILE        sign the store with this key, as the server does
      --origin NAME      the store's name in what is signed (Pakmart)
      --keep SECONDS     how long an old version stays (86400)
      --help             show this text

Exit status: 0 exported, 1 failed, 2 wrong usage.
)";

bool ParseSeconds(const char* text, std::time_t& seconds)
{
    const char* const end = text + std::strlen(text);
    const auto [rest, error] = std::from_chars(text, end, seconds);
    return error == std::errc() && rest == end && seconds >= 0;
}

bool Take(int letter, ExportOptions& options, std::string& wrong)
{
    if (letter == 'u')
        options.publicUrl = optarg;
    else if (letter == 's')
        options.signKey = optarg;
    else if (letter == 'o')
        options.origin = optarg;
    else if (letter == 'k' && !ParseSeconds(optarg, options.keep))
        wrong = Quoted(optarg) + " is not a number of seconds";
    return std::strchr("usok", letter) != nullptr;
}

int Export(const ExportOptions& options)
{
    const ExportResult result = ExportStore(options);
    std::cout << "version " << result.version << (result.isNew ? "" : ", as before")
              << "; answers: " << result.answers << ", files written: " << result.written
              << ", old versions removed: " << result.retired << std::endl;
    return std::cout ? 0 : 1;
}

} // namespace

int ExportCommand(int argc, char** argv)
{
    static const option names[] = { { "public-url", required_argument, nullptr, 'u' },
                                    { "sign", required_argument, nullptr, 's' },
                                    { "origin", required_argument, nullptr, 'o' },
                                    { "keep", required_argument, nullptr, 'k' },
                                    { "help", no_argument, nullptr, 'h' },
                                    { nullptr, 0, nullptr, 0 } };
    ExportOptions options;
    std::string wrong;
    CommandWords words = ReadOptions(argc, argv, "", names,
                                     [&](int letter) { return Take(letter, options, wrong); });
    if (words.error.empty() && !words.help && !IsServerUrl(options.publicUrl))
        words.error = "--public-url needs an address such as https://store.example";
    if (words.error.empty() && !IsOrigin(options.origin))
        words.error = "the name of a store is one line of ASCII, not " + Quoted(options.origin);
    if (words.error.empty())
        words.error = wrong;
    return RunCommand(words, help, 2, "a STORE and a FOLDER are needed", [&] {
        options.store = words.rest[0];
        options.folder = words.rest[1];
        return Export(options);
    });
}
