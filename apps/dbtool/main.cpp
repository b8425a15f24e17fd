// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// pakmart-dbtool: shows and checks the files of the record store, and makes sound copies of
// damaged ones.

#include "report.h"
#include "store/datafile.h"
#include "store/indexpage.h"
#include "subject.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <getopt.h>

using namespace Agent;

namespace DbTool
{

namespace
{

const char usage[] = R"(Usage: pakmart-dbtool COMMAND data FILE --record-length N [OPTION]...
       pakmart-dbtool COMMAND index FILE [OPTION]...
       pakmart-dbtool COMMAND notes NAME [OPTION]...
       pakmart-dbtool COMMAND catalog FOLDER
       pakmart-dbtool COMMAND recent FOLDER

Looks into the files of the record store, checks and repairs them. A notes store
is named without the endings of its two files, NAME.fil and NAME.k1; the agent's
databases by their folder: the catalog is in /usr/share/apps/vantrelagent, the
list of applications used last in ~/.kde/share/apps/vantrelagent. No program may
write the files meanwhile.

Commands:
  info     say what kind of thing it is and what it holds
  dump     print what it holds, one line each, columns separated by tabs:
             data:  number, "live", content after the first four bytes
                    number, "deleted", number of the next deleted one
             index: key, record number
             notes: offset, "used", length of the block, text
                    offset, "free", length
             catalog, recent: every product or application, for a person
           Bytes that cannot be printed, and backslashes, are shown as \xHH;
           zero bytes at the end of a record are left out.
  check    prove that it is sound, or say what is wrong and where; of a
           database also that its records, keys, dependencies and descriptions
           agree
  repair   make a sound one, in new files:
             data:  the chain of deleted records is rebuilt; no live record
                    is left out, none changes its number
             index: is made from the records of its data file (--data,
                    --key-field), which is found by itself beside an index of
                    the agent's databases; else from its own pages. Status 0
                    means that no item is lost; else it says between which keys
                    items are missing, and names those that it can
             notes: the list of free blocks is rebuilt, hidden free blocks
                    are free again; no text is left out or changes its offset
             A database is repaired file by file.

Options:
  -r, --record-length N  bytes of a record of the data file
  -k, --key-length N     most characters of a key; known for the databases'
                         indexes by their names, else worked out from the file
                         where that is sure
  -d, --duplicates       equal keys are allowed in the index
      --data FILE        the data file that the index leads to (with
                         --record-length): check that each live record has one
                         key, and no other record has; repair drops keys of
                         records that are not live
      --key-field O:L    the key is in the L bytes at offset O of a record, up
                         to a zero byte
  -o, --output FILE      what repair makes (for notes: NAME); must not be there
                         yet, not even as a link
      --partial          make it even if not everything can be restored
      --help             show this text
      --version          show the version

Exit status: 0 sound, or repaired; 1 damaged, or not all of it repaired; 2 wrong
usage, or a file that cannot be read or written.

Examples:
  pakmart-dbtool check data products.dat --record-length 2012
  pakmart-dbtool repair data products.dat -r 2012 --output new.dat
  pakmart-dbtool repair index names.k2 --duplicates --data products.dat -r 2012 \
      --key-field 8:40 --output new.k2
  pakmart-dbtool check notes descriptions
  pakmart-dbtool check catalog /usr/share/apps/vantrelagent
)";

struct Command {
    const char* name;
    int (Subject::*run)();
};

const Command commands[] = {
    { "info", &Subject::Info },
    { "dump", &Subject::Dump },
    { "check", &Subject::Check },
    { "repair", &Subject::Repair },
};

struct Kind {
    const char* name;
    const char* pathName;
    std::unique_ptr<Subject> (*make)(const Options&);
    const char* options; // the letters of its options
};

const Kind kinds[] = {
    { "data", "FILE", MakeDataSubject, "r" },      { "index", "FILE", MakeIndexSubject, "rkdDf" },
    { "notes", "NAME", MakeNotesSubject, "" },     { "catalog", "FOLDER", MakeCatalogSubject, "" },
    { "recent", "FOLDER", MakeRecentSubject, "" },
};
constexpr char repairOptions[] = "op";

const option longOptions[] = {
    { "record-length", required_argument, nullptr, 'r' },
    { "key-length", required_argument, nullptr, 'k' },
    { "duplicates", no_argument, nullptr, 'd' },
    { "data", required_argument, nullptr, 'D' },
    { "key-field", required_argument, nullptr, 'f' },
    { "output", required_argument, nullptr, 'o' },
    { "partial", no_argument, nullptr, 'p' },
    { "help", no_argument, nullptr, 'h' },
    { "version", no_argument, nullptr, 'V' },
    {},
};

int ToNumber(const std::string& text, int least, int most, const std::string& what)
{
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < least || number > most)
        throw WrongUsage(what + " is a number from " + Number(least) + " to " + Number(most)
                         + ", not " + text);
    return number;
}

KeyField ToKeyField(const std::string& text)
{
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos)
        throw WrongUsage("a key field is OFFSET:LENGTH, not " + text);
    return { ToNumber(text.substr(0, colon), 0, maxRecordLength, "the offset of a key field"),
             ToNumber(text.substr(colon + 1), 1, maxRecordLength, "the length of a key field") };
}

void TakeOption(char letter, const std::string& value, Options* options)
{
    switch (letter) {
    case 'r':
        options->recordLength = ToNumber(value, 1, maxRecordLength, "the record length");
        break;
    case 'k':
        options->keyLength = ToNumber(value, 1, longestKey, "the key length");
        break;
    case 'd':
        options->duplicates = true;
        break;
    case 'D':
        options->data = value;
        break;
    case 'f':
        options->keyField = ToKeyField(value);
        break;
    case 'o':
        options->output = value;
        break;
    case 'p':
        options->partial = true;
        break;
    }
}

const char* NameOf(char letter)
{
    const auto* const found = std::find_if(std::begin(longOptions), std::end(longOptions),
                                           [letter](const option& o) { return o.val == letter; });
    return found->name;
}

struct CommandLine {
    std::string letters; // of the options on the command line
    Options options;
    std::vector<std::string> words;
};

CommandLine Parse(int argc, char** argv)
{
    CommandLine line;
    int letter;
    opterr = 0;
    while ((letter = getopt_long(argc, argv, ":r:k:do:", longOptions, nullptr)) != -1) {
        if (letter == '?' || letter == ':')
            throw WrongUsage(std::string(letter == '?' ? "unknown option: " : "no argument after ")
                             + argv[optind - 1]);
        line.letters += char(letter);
        TakeOption(char(letter), optarg ? optarg : "", &line.options);
    }
    line.words.assign(argv + optind, argv + argc);
    return line;
}

template <typename Row, std::size_t Size>
const Row& Find(const Row (&rows)[Size], const CommandLine& line, std::size_t word,
                const char* what)
{
    if (line.words.size() <= word)
        throw WrongUsage(std::string("no ") + what);
    for (const Row& row : rows)
        if (line.words[word] == row.name)
            return row;
    throw WrongUsage(std::string("unknown ") + what + ": " + line.words[word]);
}

void CheckOptions(const CommandLine& line, const Command& command, const Kind& kind)
{
    const bool repairs = command.run == &Subject::Repair;
    for (const char letter : line.letters) {
        if (std::strchr(kind.options, letter))
            continue;
        if (!std::strchr(repairOptions, letter))
            throw WrongUsage(std::string("--") + NameOf(letter) + " does not go with " + kind.name);
        if (!repairs)
            throw WrongUsage(std::string("--") + NameOf(letter) + " goes with repair");
    }
    if (repairs && line.options.output.empty())
        throw WrongUsage("repair makes new files: give --output");
}

int Run(CommandLine& line)
{
    const Command& command = Find(commands, line, 0, "command");
    const Kind& kind = Find(kinds, line, 1, "kind of file");
    if (line.words.size() != 3)
        throw WrongUsage(std::string("give one ") + kind.pathName);
    CheckOptions(line, command, kind);
    line.options.path = line.words[2];
    const std::unique_ptr<Subject> subject = kind.make(line.options);
    return ((*subject).*command.run)();
}

int FlushOutput(int status)
{
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0)
        return status;
    throw Trouble::Because("cannot write to the standard output");
}

} // namespace

int Main(int argc, char** argv)
{
    try {
        CommandLine line = Parse(argc, argv);
        if (line.letters.find('h') != std::string::npos) {
            std::fputs(usage, stdout);
            return FlushOutput(ExitSound);
        }
        if (line.letters.find('V') != std::string::npos) {
            std::puts("pakmart-dbtool " PAKMART_VERSION);
            return FlushOutput(ExitSound);
        }
        return FlushOutput(Run(line));
    } catch (const WrongUsage& wrong) {
        std::fprintf(stderr, "pakmart-dbtool: %s\nTry 'pakmart-dbtool --help'.\n", wrong.what());
    } catch (const std::exception& trouble) {
        std::fflush(stdout);
        std::fprintf(stderr, "pakmart-dbtool: %s\n", trouble.what());
    }
    return ExitTrouble;
}

} // namespace DbTool

int main(int argc, char** argv)
{
    return DbTool::Main(argc, argv);
}
