// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The commands for the keeper of a store: check, init and add.

#include "addedpackage.h"
#include "base/text.h"
#include "commandline.h"
#include "options.h"
#include "signer.h"
#include "store.h"
#include "storecheck.h"
#include "storefile.h"
#include "tls.h"

#include <cerrno>
#include <cstring>
#include <iostream>
#include <sys/stat.h>

using namespace Agent;

namespace
{

const char checkHelp[] = R"(Usage: pakmart-storeserver check [OPTION] STORE
       pakmart-storeserver check FILE

Reads the store in the folder STORE as a server would, archives included, and
names the first fault of each file, and all that would be left out. Or reads a
FILE for --config, the keys and the certificate that it names, and its store.

      --signed           as for a server that signs the store
      --help             show this text

Exit status: 0 nothing found, 1 something found, 2 wrong usage.
)";

const char initHelp[] = R"(Usage: pakmart-storeserver init STORE

Makes an empty store in the folder STORE, which must not exist or be empty.

      --help             show this text

Exit status: 0 made, 1 failed, 2 wrong usage.
)";

const char addHelp[] = R"(Usage: pakmart-storeserver add [OPTION]... STORE FILE.deb

Puts a package into the pool and the index of the store in the folder STORE, in
the place of an older version, and makes a product of it, if it is not one yet.

  -r, --repository NAME  the repository in the pool (main)
  -n, --name TEXT        the name of a new product (that of the package)
  -c, --category TEXT    the category of a new product (the package's section)
      --help             show this text

Exit status: 0 added, 1 failed, 2 wrong usage.
)";

int Check(const std::string& folder, bool isSigned)
{
    const StoreReport report = CheckStore(folder, isSigned);
    for (const std::string& fault : report.refused)
        std::cerr << "pakmart-storeserver: refused: " << fault << '\n';
    for (const std::string& fault : report.leftOut)
        std::cerr << "pakmart-storeserver: left out: " << fault << '\n';
    std::cout << "products: " << report.products << ", repositories: " << report.repositories
              << ", archives: " << report.archives << std::endl;
    return report.IsClean() ? 0 : 1;
}

// What a server would do with the file before it listens, but for the database, which it may
// change.
int CheckConfig(const std::string& file)
{
    ServerOptions options;
    CheckOptionFile(file, options);
    if (!options.certificate.empty())
        TlsContext(options.certificate, options.key);
    if (!options.signKey.empty())
        Signer{ options.signKey };
    return Check(options.store, !options.signKey.empty());
}

bool IsFile(const std::string& path)
{
    struct stat info = {};
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

const char productsText[]
    = R"(# The products of the store, a stanza for each. `pakmart-storeserver add` appends
# one for a package; Program and Path name what the desktop starts.
)";

const char sourcesText[] = R"(Type: dep
Entry: deb @SERVER@/pool/main ./
Timestamp: 1
)";

// The products are last: a store without them is not served.
int Init(const std::string& folder)
{
    if (mkdir(folder.c_str(), 0755) != 0 && errno != EEXIST)
        throw StoreError(folder + ": " + std::strerror(errno));
    const Descriptor lock = LockStore(folder);
    if (!IsEmptyFolder(folder))
        throw StoreError(folder + ": this folder is not empty");
    Replacement(folder, "pool/main/Packages", "").Commit();
    Replacement(folder, "sources", sourcesText).Commit();
    Replacement(folder, "products", productsText).Commit();
    Store(folder).Check();
    std::cout << "an empty store is in " << folder << std::endl;
    return 0;
}

int Add(const AddOptions& options)
{
    const AddResult result = AddPackage(options);
    std::cout << result.package << ' ' << result.version << " is in the store as " << result.file
              << (result.isNewProduct ? ", and is the new product " : ", and is product ")
              << result.serial << std::endl;
    return 0;
}

} // namespace

int CheckCommand(int argc, char** argv)
{
    static const option names[] = { { "signed", no_argument, nullptr, 's' },
                                    { "help", no_argument, nullptr, 'h' },
                                    { nullptr, 0, nullptr, 0 } };
    bool isSigned = false;
    const CommandWords words = ReadOptions(argc, argv, "", names, [&isSigned](int letter) {
        isSigned = isSigned || letter == 's';
        return letter == 's';
    });
    return RunCommand(words, checkHelp, 1, "exactly one STORE is needed", [&] {
        return IsFile(words.rest[0]) ? CheckConfig(words.rest[0]) : Check(words.rest[0], isSigned);
    });
}

int InitCommand(int argc, char** argv)
{
    static const option names[]
        = { { "help", no_argument, nullptr, 'h' }, { nullptr, 0, nullptr, 0 } };
    const CommandWords words = ReadOptions(argc, argv, "", names, [](int) { return false; });
    return RunCommand(words, initHelp, 1, "exactly one STORE is needed",
                      [&] { return Init(words.rest[0]); });
}

int AddCommand(int argc, char** argv)
{
    static const option names[] = { { "repository", required_argument, nullptr, 'r' },
                                    { "name", required_argument, nullptr, 'n' },
                                    { "category", required_argument, nullptr, 'c' },
                                    { "help", no_argument, nullptr, 'h' },
                                    { nullptr, 0, nullptr, 0 } };
    AddOptions options;
    CommandWords words = ReadOptions(argc, argv, "r:n:c:", names, [&options](int letter) {
        std::string* const place = letter == 'r' ? &options.repository
            : letter == 'n'                      ? &options.name
            : letter == 'c'                      ? &options.category
                                                 : nullptr;
        if (place)
            *place = optarg;
        return place != nullptr;
    });
    if (words.error.empty() && !IsRepositoryName(options.repository))
        words.error = Quoted(options.repository) + " is not a valid repository name";
    return RunCommand(words, addHelp, 2, "a STORE and one FILE.deb are needed", [&] {
        options.store = words.rest[0];
        options.archive = words.rest[1];
        return Add(options);
    });
}
