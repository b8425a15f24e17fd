// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "commandline.h"

#include "storefile.h"

#include <iostream>

CommandWords ReadOptions(int argc, char** argv, const char* letters, const option* names,
                         const std::function<bool(int letter)>& take)
{
    CommandWords words;
    int letter = 0;
    while (words.error.empty()
           && (letter = getopt_long(argc, argv, letters, names, nullptr)) != -1) {
        if (letter == 'h')
            words.help = true;
        else if (!take(letter))
            words.error = "unknown option, or its value is missing";
    }
    words.rest.assign(argv + optind, argv + argc);
    return words;
}

int RunCommand(const CommandWords& words, const char* help, std::size_t count, const char* needed,
               const std::function<int()>& command)
{
    const bool isWrong = !words.error.empty() || (!words.help && words.rest.size() != count);
    if (isWrong) {
        std::cerr << "pakmart-storeserver: " << (words.error.empty() ? needed : words.error)
                  << "\nTry `pakmart-storeserver --help`.\n";
        return 2;
    }
    if (words.help) {
        std::cout << help;
        return 0;
    }
    try {
        return command();
    } catch (const StoreError& error) {
        std::cerr << "pakmart-storeserver: " << error.what() << '\n';
        return 1;
    }
}
