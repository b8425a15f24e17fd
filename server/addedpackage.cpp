// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "addedpackage.h"

#include "base/program.h"
#include "base/text.h"
#include "base/wholefile.h"
#include "debianindex.h"
#include "filesum.h"
#include "gzip.h"
#include "importedstore.h"
#include "memoryfile.h"
#include "stanza.h"
#include "store.h"

#include <algorithm>
#include <apt-pkg/debversion.h>
#include <apt-pkg/strutl.h>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

using namespace Agent;

namespace
{

// Fields that an index has about the archive; the archive cannot say them about itself.
bool IsOfTheIndex(const std::string& key)
{
    const std::array<const char*, 6> keys{
        "Filename", "Size", "MD5sum", "SHA1", "SHA256", "SHA512"
    };
    return std::any_of(keys.begin(), keys.end(), [&key](const char* one) { return key == one; });
}

std::string FirstLine(const std::string& text)
{
    return text.substr(0, text.find('\n'));
}

// What dpkg-deb says about the archive.
std::string Ask(const char* question, const std::string& archive)
{
    // A name that begins with a dash would be an option.
    ProgramResult result = RunProgram({ "dpkg-deb", question, "--", archive }, std::string());
    if (result.status != 0)
        throw StoreError(archive + ": this is not a whole package: " + FirstLine(result.errors));
    return std::move(result.output);
}

// The control fields of the archive. Its files are read too, since it may be cut short.
Stanza ControlOf(const std::string& archive)
{
    const std::vector<Stanza> stanzas = ParseStanzas(Ask("--field", archive), archive);
    if (stanzas.size() != 1)
        throw StoreError(archive + ": this is not a package");
    Ask("--contents", archive);
    return stanzas[0];
}

// The name that apt gives the archive: agents ask for it by this name.
std::string ArchiveName(const Stanza& control, const std::string& path)
{
    return QuoteString(Required(control, "Package", path), "_:") + '_'
        + QuoteString(Required(control, "Version", path), "_:") + '_'
        + QuoteString(Required(control, "Architecture", path), "_:.") + ".deb";
}

// The package as an index has it, checked like those of an import.
ArchivePackage IndexedPackageOf(const Stanza& control, const std::string& name, const FileSum& sum,
                                const std::string& archive)
{
    std::string text;
    for (const Field& field : control.fields) {
        if (!IsOfTheIndex(field.key))
            text += field.key + ": " + Continued(field.value) + '\n';
    }
    text += "Filename: " + name + "\nSize: " + std::to_string(sum.size) + "\nSHA256: " + sum.sha256
        + '\n';
    const Descriptor file = MemoryFile(text);
    const std::string path = "/proc/self/fd/" + std::to_string(file.Get());
    try {
        return ReadDebianIndex(path).packages.begin()->second;
    } catch (const StoreError& error) {
        const std::string reason = error.what();
        throw StoreError(archive + reason.substr(reason.find(": ")));
    }
}

// The index with the package in the place of its older version.
std::string WithPackage(const std::string& index, const std::string& path,
                        const ArchivePackage& package, const std::string& architecture)
{
    std::string text;
    StanzaReader reader(index, path);
    for (Stanza stanza; reader.Next(stanza);) {
        const std::string version = Required(stanza, "Version", path);
        if (Required(stanza, "Package", path) != package.name
            || Optional(stanza, "Architecture") != architecture)
            text += stanza.text + '\n';
        else if (debVS.CmpVersion(version, package.version) > 0)
            throw StoreError(path + ": the store has version " + version + " of "
                             + Quoted(package.name) + ", which is newer than " + package.version);
    }
    return text + package.stanza + '\n';
}

// The sources with new timestamps for the repository's entries, so that machines fetch its
// index again.
std::string WithTimestamps(const std::string& sources, const std::string& path,
                           const std::string& repository, const std::string& timestamp)
{
    std::string text = sources;
    std::vector<std::string> lines;
    for (std::string::size_type start = 0; start < text.size();) {
        const auto end = std::min(text.find('\n', start), text.size());
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    const std::string address = "@SERVER@/pool/" + repository + ' ';
    for (const Stanza& stanza : ParseStanzas(sources, path)) {
        const std::string entry = Optional(stanza, "Entry") + ' ';
        if (entry.find(address) != std::string::npos)
            lines[std::size_t(stanza.Find("Timestamp")->line - 1)] = "Timestamp: " + timestamp;
    }
    text.clear();
    for (const std::string& line : lines)
        text += line + '\n';
    return text;
}

std::string ProductText(const AddOptions& options, const ArchivePackage& package, long serial)
{
    return "\nSerial: " + std::to_string(serial)
        + "\nName: " + (options.name.empty() ? package.name : options.name)
        + "\nCategory: " + (options.category.empty() ? package.category : options.category)
        + "\nPackage: " + package.name + "\nDescription: " + Continued(package.description) + '\n';
}

std::string EndedByLine(std::string text)
{
    if (!text.empty() && text.back() != '\n')
        text += '\n';
    return text;
}

// Adds the package as a product, if it is not one. Sets the product's number.
std::string WithProduct(const std::string& products, const std::string& path,
                        const AddOptions& options, const ArchivePackage& package, AddResult& result)
{
    long last = 0;
    for (const auto& [serial, product] : ParseProducts(products, path)) {
        last = std::max(last, serial);
        if (product.package == package.name && result.serial == 0)
            result.serial = serial;
    }
    if (result.serial != 0)
        return products;
    if (last == INT_MAX)
        throw StoreError(path + ": there are no numbers left for new products");
    result.serial = last + 1;
    result.isNewProduct = true;
    const std::string text = EndedByLine(products) + ProductText(options, package, result.serial);
    ParseProducts(text, path);
    return text;
}

// Copies the archive next to its place. No file yet if it is there already.
FileReplacement Copy(const AddOptions& options, const std::string& name, const FileSum& sum)
{
    const std::string folder = options.store + "/pool/" + options.repository;
    struct stat info = {};
    if (const Descriptor present = OpenBelow(folder, name, info)) {
        if (SumOf(present).sha256 == sum.sha256)
            return FileReplacement();
        throw StoreError(folder + '/' + name
                         + ": the store has another archive of this version; give the new one a "
                           "higher version");
    }
    const Descriptor archive(open(options.archive.c_str(), O_RDONLY | O_CLOEXEC));
    FileReplacement copy(folder + '/' + name, 0644);
    std::array<char, 65536> block;
    ssize_t got = 0;
    do {
        got = archive && copy ? read(archive.Get(), block.data(), block.size()) : -1;
        if (got > 0 && !copy.Write({ block.data(), std::size_t(got) }))
            got = -1;
    } while (got > 0);
    if (got < 0)
        throw StoreError(folder + '/' + name + ": " + std::strerror(errno));
    const std::string path = "/proc/self/fd/" + std::to_string(copy.Get());
    if (SumOf(Descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC))).sha256 != sum.sha256)
        throw StoreError(options.archive + ": the file changes while it is added");
    return copy;
}

void CheckOptions(const AddOptions& options)
{
    for (const std::string& text : { options.name, options.category }) {
        if (TextFault(text) || text.find_first_of("\n\t") != std::string::npos)
            throw StoreError("a name is one line of text, not " + Quoted(text));
    }
    struct stat info = {};
    if (OpenBelow(options.store, importMark, info))
        throw StoreError(options.store
                         + ": this store is made by an import, which would drop the package");
    if (!OpenBelow(options.store, "pool/" + options.repository + "/Packages", info))
        throw StoreError(options.store + ": there is no repository " + Quoted(options.repository));
}

FileSum ArchiveSum(const std::string& archive)
{
    const FileSum sum = SumOf(Descriptor(open(archive.c_str(), O_RDONLY | O_CLOEXEC)));
    if (sum.sha256.empty())
        throw StoreError(archive + ": it cannot be read");
    return sum;
}

// The texts of the store that change, each next to its old one.
std::vector<Replacement> NewTexts(const AddOptions& options, const ArchivePackage& package,
                                  const std::string& architecture, AddResult& result)
{
    const std::string& store = options.store;
    const std::string pool = "pool/" + options.repository, path = pool + "/Packages";
    const std::string index
        = WithPackage(ReadStoreFile(store, path).text, store + '/' + path, package, architecture);
    ParsePackageIndex(index, store + '/' + path);
    const std::string sources
        = WithTimestamps(ReadStoreFile(store, "sources").text, store + "/sources",
                         options.repository, TimestampOf(index));
    ParseSources(sources, store + "/sources");
    const std::string products = WithProduct(ReadStoreFile(store, "products").text,
                                             store + "/products", options, package, result);
    std::vector<Replacement> files;
    struct stat info = {};
    if (OpenBelow(store, path + ".gz", info))
        files.emplace_back(store, path + ".gz", Gzip(index));
    files.emplace_back(store, path, index);
    files.emplace_back(store, "sources", sources);
    files.emplace_back(store, "products", products);
    return files;
}

} // namespace

// The sum is taken before dpkg-deb reads the archive and compared with that of the copy, so
// that all of them are of the same file.
AddResult AddPackage(const AddOptions& options)
{
    const Descriptor lock = LockStore(options.store);
    CheckOptions(options);
    Store(options.store).Check();
    const FileSum sum = ArchiveSum(options.archive);
    const Stanza control = ControlOf(options.archive);
    const std::string name = ArchiveName(control, options.archive);
    const ArchivePackage package = IndexedPackageOf(control, name, sum, options.archive);
    AddResult result{ package.name, package.version, options.repository + '/' + name };
    FileReplacement archive = Copy(options, name, sum);
    std::vector<Replacement> texts
        = NewTexts(options, package, Required(control, "Architecture", options.archive), result);
    if (archive && !archive.Commit())
        throw StoreError(options.store + "/pool/" + result.file + ": " + std::strerror(errno));
    for (Replacement& text : texts)
        text.Commit();
    return result;
}
