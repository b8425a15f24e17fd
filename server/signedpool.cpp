// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "signedpool.h"

#include "base/text.h"
#include "filesum.h"
#include "shareddate.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <iostream>

using namespace Agent;

namespace
{

constexpr std::time_t day = 24 * 60 * 60;
constexpr std::time_t valid = 7 * day;

// The forms of an index that a repository may have.
const struct {
    const char* name;
    bool packed;
} indexFiles[] = { { "Packages", false }, { "Packages.gz", true } };

Descriptor OpenIndex(const std::string& pool, const std::string& path)
{
    struct stat info = {};
    return OpenBelow(pool, path, info);
}

// The lines for a repository's indexes. A compressed form of another text is left out: it
// is probably older.
std::string SumLines(const std::string& pool, const std::string& repository)
{
    const FileSum plain = SumOf(OpenIndex(pool, repository + "/Packages"));
    if (plain.sha256.empty())
        throw StoreError(pool + '/' + repository + "/Packages: it cannot be read");
    std::string lines;
    for (const auto& [name, packed] : indexFiles) {
        const std::string path = repository + '/' + name;
        if (packed && UnpackedSumOf(OpenIndex(pool, path)).sha256 != plain.sha256)
            continue;
        const FileSum sum = SumOf(OpenIndex(pool, path));
        if (!sum.sha256.empty())
            lines += ' ' + sum.sha256 + ' ' + std::to_string(sum.size) + ' ' + name + '\n';
    }
    return lines;
}

// Changes whenever one of the indexes does.
std::string MarkOf(const std::string& pool, const std::string& repository)
{
    std::string mark;
    for (const auto& file : indexFiles) {
        struct stat info = {};
        if (OpenBelow(pool, repository + '/' + file.name, info))
            mark += std::to_string(info.st_ino) + '.' + std::to_string(info.st_size) + '.'
                + std::to_string(info.st_mtim.tv_sec) + '.' + std::to_string(info.st_mtim.tv_nsec);
        mark += ' ';
    }
    return mark;
}

// A path below a repository, without the "." that apt-get puts into it.
std::string WithoutDots(std::string path)
{
    while (BeginsWith(path, "./"))
        path.erase(0, 2);
    return path;
}

std::string Escaped(const std::string& path)
{
    std::string text;
    for (const char c : path) {
        if (IsLetterOrDigit(c) || std::strchr("-._~/+:", c))
            text += c;
        else
            AppendEscaped(text, c);
    }
    return text;
}

} // namespace

std::string DateText(std::time_t when)
{
    std::tm parts = {};
    gmtime_r(&when, &parts);
    std::array<char, 64> text{};
    return { text.data(),
             std::strftime(text.data(), text.size(), "%a, %d %b %Y %H:%M:%S +0000", &parts) };
}

SignedPool::SignedPool(Store& store, const Signer& signer, const std::string& origin, bool isShared)
    : m_store(store), m_signer(signer), m_origin(origin), m_isShared(isShared),
      m_replies(signer, origin)
{
}

std::time_t SignedPool::Date() const
{
    return m_isShared ? SharedDate(m_store.Folder(), std::time(nullptr)) : 0;
}

void SignedPool::Check()
{
    for (const auto& [name, index] : m_store.GetRepositories())
        Current(name);
}

SignedPool::Signed SignedPool::Make(const std::string& repository, std::time_t shared)
{
    const std::string& pool = m_store.PoolFolder();
    Signed files;
    files.mark = MarkOf(pool, repository); // first: a later change makes them again
    files.made = shared != 0 ? shared : std::time(nullptr);
    RequireSums(*m_store.GetRepositories().at(repository), pool + '/' + repository + "/Packages");
    files.release = "Origin: " + m_origin + "\nLabel: " + m_origin + "\nSuite: " + repository
        + "\nCodename: " + repository + "\nDate: " + DateText(files.made) + "\nValid-Until: "
        + DateText(files.made + valid) + "\nSHA256:\n" + SumLines(pool, repository);
    files.inRelease = m_signer.ClearSigned(files.release);
    return files;
}

// Whether their date has ended.
bool SignedPool::IsOver(const Signed& files, std::time_t shared) const
{
    const std::time_t age = std::time(nullptr) - files.made;
    return m_isShared ? shared != files.made : age < 0 || age >= day;
}

SignedPool::Signed SignedPool::Current(const std::string& repository)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    Signed& files = m_signed[repository];
    const std::time_t shared = Date();
    if (IsOver(files, shared) || files.mark != MarkOf(m_store.PoolFolder(), repository))
        files = Make(repository, shared);
    return files;
}

// The signature covers an index whose archives are found from here, so the way to them
// leads through this server.
bool SignedPool::ServeElsewhere(const std::string& repository, const std::string& file,
                                HttpReply& reply)
{
    const std::string address = m_store.ArchivesOf(repository);
    const Repositories repositories = m_store.GetRepositories();
    const auto& index = *repositories.at(repository);
    if (address.empty() || index.find(file.substr(file.rfind('/') + 1)) == index.end())
        return false;
    reply.status = 302;
    reply.Add("Location", address + '/' + Escaped(file));
    return true;
}

// Without a date of its last change: two signatures can be of the same second, and a client
// that has the first one would not get the second.
bool SignedPool::Serve(const std::string& path, HttpReply& reply)
{
    const auto slash = std::min(path.find('/'), path.size());
    const std::string repository = path.substr(0, slash);
    const std::string file = WithoutDots(path.substr(std::min(slash + 1, path.size())));
    try {
        if (m_store.GetRepositories().count(repository) == 0)
            return false;
        if (file != "InRelease" && file != "Release")
            return ServeElsewhere(repository, file, reply);
        const Signed files = Current(repository);
        reply.SetBody(file == "Release" ? files.release : files.inRelease, "text/plain");
    } catch (const StoreError& error) {
        std::cerr << std::string("pakmart-storeserver: ") + error.what() + '\n';
        reply.status = 503;
    }
    return true;
}
