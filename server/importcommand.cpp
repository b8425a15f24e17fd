// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "options.h"

#include "applicationicons.h"
#include "applications.h"
#include "base/text.h"
#include "importedstore.h"
#include "store.h"
#include "storefile.h"

#include <getopt.h>
#include <iostream>

using namespace Agent;

namespace
{

const char help[] = R"(Usage: pakmart-storeserver import [OPTION]... INDEX STORE

Makes a store in the folder STORE out of the package index of a Debian archive:
every package becomes a product, its section the category. INDEX is a Packages
file as apt keeps it below /var/lib/apt/lists, plain or compressed.

  -a, --archive URL       where the archives are fetched from; without it, the
                          address in the name that apt has given INDEX
  -t, --translation FILE  take long descriptions from this Translation file
  -s, --appstream FILE    take names, descriptions and categories of applications
                          from this catalog of AppStream, as apt keeps it as well
  -i, --icons FILE        take the icons of these applications from this archive,
                          such as icons-64x64.tar.gz
  -n, --name NAME         the repository's name in the store (debian)
      --help              show this text

STORE may be new, empty or a store that an import has made. Such a store is
brought up to the index: products that are there already keep their numbers.
A store that was made otherwise is left alone.
Exit status: 0 made, 1 failed, 2 wrong usage.
)";

struct ImportOptions {
    std::string archive;
    std::string translation;
    std::string appstream;
    std::string icons;
    std::string name = "debian";
    std::string index;
    std::string store;
    bool help = false;
};

// An address without the slashes at its end, which people often copy with it.
std::string WithoutSlashes(std::string address)
{
    address.erase(address.find_last_not_of('/') + 1);
    return address;
}

// Reads the command line. Returns an error message, or an empty text.
std::string ParseImportOptions(int argc, char** argv, ImportOptions& options)
{
    static const option names[] = { { "archive", required_argument, nullptr, 'a' },
                                    { "translation", required_argument, nullptr, 't' },
                                    { "appstream", required_argument, nullptr, 's' },
                                    { "icons", required_argument, nullptr, 'i' },
                                    { "name", required_argument, nullptr, 'n' },
                                    { "help", no_argument, nullptr, 'h' },
                                    { nullptr, 0, nullptr, 0 } };
    int letter = 0;
    while ((letter = getopt_long(argc, argv, "a:t:s:i:n:", names, nullptr)) != -1) {
        if (letter == 'a')
            options.archive = WithoutSlashes(optarg);
        else if (letter == 't')
            options.translation = optarg;
        else if (letter == 's')
            options.appstream = optarg;
        else if (letter == 'i')
            options.icons = optarg;
        else if (letter == 'n')
            options.name = optarg;
        else if (letter == 'h')
            options.help = true;
        else
            return "unknown option, or its value is missing";
    }
    if (options.help)
        return {};
    if (argc - optind != 2)
        return "an index and a store are needed";
    if (!options.icons.empty() && options.appstream.empty())
        return "icons are those of applications, which --appstream names";
    options.index = argv[optind];
    options.store = argv[optind + 1];
    if (!IsRepositoryName(options.name))
        return Quoted(options.name) + " is not a valid repository name";
    if (options.archive.empty())
        options.archive = ArchiveOf(options.index);
    if (options.archive.empty())
        return "say where the archives of this index are, with --archive";
    if (!IsServerUrl(options.archive))
        return Quoted(options.archive) + " is not an address such as http://deb.debian.org/debian";
    return {};
}

void TellLeftOut(const DebianIndex& index)
{
    for (const std::string& reason : index.leftOut)
        std::cerr << "pakmart-storeserver: left out: " << reason << '\n';
    if (index.leftOutCount > index.leftOut.size())
        std::cerr << "pakmart-storeserver: and " << index.leftOutCount - index.leftOut.size()
                  << " more were left out\n";
}

void Import(const ImportOptions& options)
{
    ImportedStore store(options.store, options.name);
    DebianIndex index = ReadDebianIndex(options.index);
    std::string more;
    if (!options.translation.empty())
        more += ", long descriptions: "
            + std::to_string(AddLongDescriptions(index, options.translation));
    if (!options.appstream.empty())
        more += ", applications: "
            + std::to_string(AddApplications(index, ReadApplications(options.appstream)));
    if (!options.icons.empty())
        more += ", icons: " + std::to_string(AddPictures(index, options.icons));
    std::cout << "packages: " << index.packages.size()
              << ", older versions passed over: " << index.older << more << std::endl;
    TellLeftOut(index);
    const ImportResult result = store.Replace(index, options.archive);
    std::cout << "products: " << result.products << ", categories: " << result.categories
              << "; new: " << result.added << ", of another version: " << result.updated
              << ", gone: " << result.gone << "\nthe store is in " << options.store
              << "; its archives are fetched from " << options.archive << std::endl;
}

} // namespace

int ImportCommand(int argc, char** argv)
{
    ImportOptions options;
    const std::string wrong = ParseImportOptions(argc, argv, options);
    if (!wrong.empty()) {
        std::cerr << "pakmart-storeserver: " << wrong
                  << "\nTry `pakmart-storeserver import --help`.\n";
        return 2;
    }
    if (options.help) {
        std::cout << help;
        return 0;
    }
    try {
        Import(options);
    } catch (const StoreError& error) {
        std::cerr << "pakmart-storeserver: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
