// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "options.h"

#include "base/text.h"
#include "base/wholefile.h"
#include "guests.h"
#include "stanza.h"
#include "storefile.h"

#include <algorithm>
#include <getopt.h>
#include <iostream>

using namespace Agent;

namespace
{

const char help[] = R"(Usage: pakmart-storeserver [OPTION]... [STORE]
       pakmart-storeserver import [OPTION]... INDEX STORE
       pakmart-storeserver init STORE
       pakmart-storeserver add [OPTION]... STORE FILE.deb
       pakmart-storeserver check [OPTION] STORE|FILE
       pakmart-storeserver export --public-url URL [OPTION]... STORE FOLDER
       pakmart-storeserver personal DATABASE ACTION

Serves the store in the folder STORE to Pakmart agents, over HTTP or HTTPS; or changes a
store that is in a folder (`pakmart-storeserver COMMAND --help`).

Commands:
  import   make a store out of a Debian package index
  init     make an empty store
  add      put a package into a store
  check    name the faults of a store, or of a file for --config
  export   write the answers that are the same for all as files, for nginx
  personal show and change what a database has about customers

Options:

  -c, --config FILE      take options from FILE: lines such as `port: 80`, named
                         as here without the dashes, and `store: FOLDER`; what
                         comes later on the command line counts
  -l, --listen ADDRESS   listen at this address (127.0.0.1)
  -p, --port NUMBER      listen at this port (8080); 0 takes a free one
  -u, --public-url URL   the server's address as clients see it; without it
                         each client gets the address it asked
  -s, --sign KEY         sign the repositories with the secret OpenPGP key in
                         the file KEY: one key, without a passphrase, readable
                         by its owner only
      --origin NAME      the store's name in what is signed (Pakmart)
      --dates NAME       own: sign with dates of this server (the default without
                         --postgresql); shared: with those that other servers
                         and exports of the store find as well
      --connections-per-address NUMBER
                         connections that a client's address may have at a
                         time (256); 0 for any number
      --proxy ADDRESS    requests from this address come from a proxy: their
                         number is its concern, and the log names the client
                         that it names in X-Forwarded-For
      --certificate FILE, --key FILE
                         serve over HTTPS, with this certificate (and those of
                         its issuers after it) and its private key, in PEM
      --access-log FILE  append a line for each request to FILE, in the common
                         log format; SIGHUP opens it again by its name
      --log-format NAME  common, or json for an object of JSON in each line
      --monitor ADDRESS  show the pages below /status/ to requests from this
                         address too, and not only from this machine
      --grace SECONDS    time for the replies under way when it ends (3)
      --state FOLDER     keep profiles and registrations in FOLDER, in a database
                         of SQLite, instead of in files of the store
      --postgresql CONNECTION
                         keep them in a database of PostgreSQL, which several
                         servers may share: 'host=/run/postgresql dbname=pakmart';
                         --state does not count then
  -v, --verbose          write a line for each request on standard error
      --help             show this text
      --version          show the version

Prints one line, `listening on URL`, once it answers requests. SIGINT and
SIGTERM end it. Changed files of the store are noticed while it runs.
Exit status: 0 ended by a signal, 1 failed to start, 2 wrong usage.
)";

const int longestGrace = 3600;

bool IsPort(const std::string& text)
{
    const long port = PositiveNumber(text);
    return port >= 1 && port <= 65535;
}

bool Fail(const std::string& message, int& status)
{
    std::cerr << "pakmart-storeserver: " << message << "\nTry `pakmart-storeserver --help`.\n";
    status = 2;
    return false;
}

// Those about running it as a service.
void TakeServiceOption(int letter, const std::string& value, ServerOptions& options,
                       std::string& error)
{
    switch (letter) {
    case 'Y':
        options.isSharedDate = value == "shared";
        if (!options.isSharedDate && value != "own")
            error = "dates are own or shared, not " + Quoted(value);
        break;
    case 'J':
        options.isJsonLog = value == "json";
        if (!options.isJsonLog && value != "common")
            error = "a log has the format common or json, not " + Quoted(value);
        break;
    case 'M':
        options.monitor = value;
        if (!IsAddress(value))
            error = "--monitor needs an address such as 192.0.2.7, not " + Quoted(value);
        break;
    case 'G':
        options.grace = int(PositiveNumber(value));
        if (options.grace < 1 || options.grace > longestGrace)
            error = "a time to end is a number of seconds from 1 to 3600, not " + Quoted(value);
        break;
    default:
        error = "unknown option, or its value is missing";
    }
}

// Stores one option; false, with a message, if its value is invalid.
bool TakeOption(int letter, const std::string& value, ServerOptions& options, std::string& error)
{
    switch (letter) {
    case 'l':
        options.listen = value;
        break;
    case 'p':
        options.port = int(PositiveNumber(value));
        if (!IsPort(value) && value != "0")
            error = "a port is a number from 0 to 65535, not " + Quoted(value);
        break;
    case 'u':
        options.publicUrl = value;
        if (!IsServerUrl(value))
            error = Quoted(value) + " is not an address such as http://store.example:8080";
        break;
    case 's':
        options.signKey = value;
        if (value.empty())
            error = "--sign needs the file of a key";
        break;
    case 'O':
        options.origin = value;
        if (!IsOrigin(value))
            error = "the name of a store is one line of ASCII, not " + Quoted(value);
        break;
    case 'C':
        options.perAddress = int(PositiveNumber(value));
        if (options.perAddress == 0 && value != "0")
            error = "a number of connections is 0 or more, not " + Quoted(value);
        break;
    case 'P':
        options.proxy = value;
        if (!IsAddress(value))
            error = "a proxy has an address such as 127.0.0.1, not " + Quoted(value);
        break;
    case 'T':
    case 'K':
        (letter == 'T' ? options.certificate : options.key) = value;
        if (value.empty())
            error = "--certificate and --key need the name of a file";
        break;
    case 'A':
        options.accessLog = value;
        if (value.empty())
            error = "--access-log needs the name of a file";
        break;
    case 'd':
    case 'D':
        (letter == 'd' ? options.personal.state : options.personal.postgresql) = value;
        if (value.empty())
            error = "--state needs a folder, and --postgresql a connection";
        break;
    case 'v':
        options.verbose = true;
        break;
    default:
        TakeServiceOption(letter, value, options, error);
    }
    return error.empty();
}

const option names[] = { { "config", required_argument, nullptr, 'c' },
                         { "listen", required_argument, nullptr, 'l' },
                         { "port", required_argument, nullptr, 'p' },
                         { "public-url", required_argument, nullptr, 'u' },
                         { "sign", required_argument, nullptr, 's' },
                         { "origin", required_argument, nullptr, 'O' },
                         { "connections-per-address", required_argument, nullptr, 'C' },
                         { "proxy", required_argument, nullptr, 'P' },
                         { "certificate", required_argument, nullptr, 'T' },
                         { "key", required_argument, nullptr, 'K' },
                         { "access-log", required_argument, nullptr, 'A' },
                         { "dates", required_argument, nullptr, 'Y' },
                         { "log-format", required_argument, nullptr, 'J' },
                         { "monitor", required_argument, nullptr, 'M' },
                         { "grace", required_argument, nullptr, 'G' },
                         { "state", required_argument, nullptr, 'd' },
                         { "postgresql", required_argument, nullptr, 'D' },
                         { "verbose", no_argument, nullptr, 'v' },
                         { "help", no_argument, nullptr, 'h' },
                         { "version", no_argument, nullptr, 'V' },
                         { nullptr, 0, nullptr, 0 } };

// The letter of an option that a file may have; 0 for none.
int LetterOf(const std::string& name)
{
    for (const option& known : names) {
        const bool isElsewhere = known.val == 'c' || known.val == 'h' || known.val == 'V';
        if (known.name && name == known.name && !isElsewhere)
            return known.val;
    }
    return 0;
}

void TakeField(const Field& field, const std::string& file, ServerOptions& options)
{
    std::string error;
    const int letter = LetterOf(field.key);
    if (field.key == "store")
        options.store = field.value;
    else if (letter == 0)
        error = "there is no option " + Quoted(field.key);
    else if (letter == 'v' && field.value != "yes")
        error = "`verbose` is `yes`, or not there at all";
    else
        TakeOption(letter, field.value, options, error);
    if (!error.empty())
        FailAt(file, field.line, error);
}

// What the options lack; empty for nothing.
std::string Lack(const ServerOptions& options)
{
    if (options.certificate.empty() != options.key.empty())
        return "--certificate and --key belong together";
    return options.store.empty() ? "exactly one STORE is needed" : "";
}

// The option --config: false, with a message, if the file cannot be used.
bool TakeFile(const std::string& file, ServerOptions& options)
{
    try {
        ReadOptionFile(file, options);
        return true;
    } catch (const StoreError& error) {
        std::cerr << "pakmart-storeserver: " << error.what() << '\n';
        return false;
    }
}

} // namespace

void ReadOptionFile(const std::string& file, ServerOptions& options)
{
    const std::string name = file.substr(file.rfind('/') + 1);
    const std::string text = ReadStoreFile(FolderOf(file), name).text;
    for (const Stanza& stanza : ParseStanzas(text, file)) {
        for (const Field& field : stanza.fields)
            TakeField(field, file, options);
    }
}

void CheckOptionFile(const std::string& file, ServerOptions& options)
{
    ReadOptionFile(file, options);
    const std::string lack = Lack(options);
    if (!lack.empty())
        throw StoreError(file + ": " + lack);
}

bool IsOrigin(const std::string& name)
{
    return IsMadeOf(name, IsPrintable, "");
}

bool IsHost(const std::string& host)
{
    if (host.size() > 255)
        return false;
    std::string name = host;
    const auto colon = host.rfind(':');
    if (colon != std::string::npos && host.back() != ']') {
        if (!IsPort(host.substr(colon + 1)))
            return false;
        name.resize(colon);
    }
    if (name.size() > 2 && name.front() == '[' && name.back() == ']')
        return name.find_first_not_of("0123456789abcdefABCDEF:.", 1) == name.size() - 1;
    return IsMadeOf(name, IsLetterOrDigit, "-._");
}

bool IsServerUrl(const std::string& url)
{
    const auto start = BeginsWith(url, "http://") ? 7u : BeginsWith(url, "https://") ? 8u : 0u;
    if (start == 0 || url.back() == '/')
        return false;
    const auto slash = std::min(url.find('/', start), url.size());
    return IsHost(url.substr(start, slash - start))
        && (slash == url.size() || IsMadeOf(url.substr(slash), IsLetterOrDigit, "-._~/"));
}

std::string SchemeOf(const ServerOptions& options)
{
    return options.certificate.empty() ? "http://" : "https://";
}

bool ParseOptions(int argc, char** argv, ServerOptions& options, int& status)
{
    int letter = 0;
    while ((letter = getopt_long(argc, argv, "c:l:p:u:s:v", names, nullptr)) != -1) {
        std::string error;
        if (letter == 'h' || letter == 'V') {
            std::cout << (letter == 'h' ? help : "pakmart-storeserver " PAKMART_VERSION "\n");
            status = 0;
            return false;
        }
        const std::string value = optarg ? optarg : "";
        if (letter == 'c' && !TakeFile(value, options)) {
            status = 1;
            return false;
        }
        if (letter != 'c' && !TakeOption(letter, value, options, error))
            return Fail(error, status);
    }
    if (optind < argc)
        options.store = argv[optind++];
    const std::string lack = optind < argc ? "exactly one STORE is needed" : Lack(options);
    if (!lack.empty())
        return Fail(lack, status);
    return true;
}
