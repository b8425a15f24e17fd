// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "exportfolder.h"

#include "base/text.h"
#include "content.h"
#include "gzip.h"
#include "zstandard.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using namespace Agent;
namespace fs = std::filesystem;

namespace
{

const char freshName[] = "/versions/new";
const char currentName[] = "current.conf";
const std::size_t leastPacked = 1400; // shorter texts fit into one packet anyway
const std::size_t versionLength = 32; // of the digits of the sum

[[noreturn]] void Fail(const std::string& path)
{
    throw StoreError(path + ": " + std::strerror(errno));
}

// The name of the folder is written into a configuration file of nginx.
std::string MakeFolder(const std::string& folder)
try {
    fs::create_directories(folder + "/versions");
    std::string path = fs::canonical(folder).string();
    for (const char c : path) {
        if (!IsLetterOrDigit(c) && !std::strchr("/._-+~", c))
            throw StoreError(path + ": the name of this folder may have letters, digits and ._-+~");
    }
    return path;
} catch (const fs::filesystem_error& error) {
    throw StoreError(folder + ": " + error.code().message());
}

void RemoveAll(const std::string& path)
{
    std::error_code error;
    fs::remove_all(path, error);
    if (error)
        throw StoreError(path + ": " + error.message());
}

// From 2000 to 2008, which no clock of a machine takes for the future.
void SetTime(int fd, const std::string& sum)
{
    const std::time_t when = 946684800 + std::stol(sum.substr(0, 7), nullptr, 16);
    const timespec times[] = { { when, 0 }, { when, 0 } };
    futimens(fd, times);
}

std::vector<std::string> NamesIn(const std::string& folder)
{
    std::vector<std::string> names;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, error))
        names.push_back(entry.path().filename().string());
    return names;
}

// The version that current.conf names; empty if there is none.
std::string CurrentVersion(const std::string& folder)
{
    struct stat info = {};
    if (!OpenBelow(folder, currentName, info))
        return {};
    const std::string text = ReadStoreFile(folder, currentName).text;
    const std::string before = folder + "/versions/";
    const auto at = text.find(before);
    return at == std::string::npos ? "" : text.substr(at + before.size(), versionLength);
}

std::string CurrentText(const std::string& folder, const std::string& version,
                        const std::map<std::string, std::string>& statements)
{
    std::string text
        = "# Written by `pakmart-storeserver export`. Reload nginx when it has changed.\n"
          "map $host $pakmart_root {\n    default \""
        + folder + "/versions/" + version
        + "\";\n}\nmap $pakmart_file $pakmart_statement {\n    default \"\";\n";
    for (const auto& [path, statement] : statements)
        text += "    \"" + path + "\" \"" + statement + "\";\n";
    return text + "}\n";
}

} // namespace

ExportFolder::ExportFolder(const std::string& folder)
    : m_folder(MakeFolder(folder)), m_fresh(m_folder + freshName), m_lock(LockStore(m_folder))
{
    RemoveAll(m_fresh);
    if (mkdir(m_fresh.c_str(), 0755) != 0)
        Fail(m_fresh);
}

ExportFolder::~ExportFolder()
{
    std::error_code error; // what stays is removed by the next export
    fs::remove_all(m_fresh, error);
}

// The path of a file of the new version, whose folder is there.
std::string ExportFolder::PlaceOf(const std::string& path)
{
    const std::string place = m_fresh + path;
    std::error_code error;
    fs::create_directories(place.substr(0, place.rfind('/')), error);
    if (error)
        throw StoreError(place + ": " + error.message());
    return place;
}

void ExportFolder::Note(const std::string& path, const std::string& sum)
{
    m_sums[path] = sum;
}

void ExportFolder::Link(const std::string& from, const std::string& to)
{
    if (link(from.c_str(), to.c_str()) != 0 && errno != EEXIST)
        Fail(to);
}

// Writes a text that is not there. One of another length was cut off by a power failure.
void ExportFolder::Keep(const std::string& sum, const char* suffix, const std::string& text)
{
    const std::string folder = m_folder + "/content/" + sum.substr(0, 2);
    const std::string path = folder + '/' + sum + suffix, fresh = folder + "/new";
    struct stat info = {};
    if (lstat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode)
        && info.st_size == off_t(text.size()))
        return;
    std::error_code error;
    fs::create_directories(folder, error);
    unlink(fresh.c_str());
    const Descriptor file(open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    if (!file)
        Fail(fresh);
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t count = write(file.Get(), text.data() + done, text.size() - done);
        if (count < 0 && errno != EINTR)
            Fail(fresh);
        done += count > 0 ? std::size_t(count) : 0;
    }
    SetTime(file.Get(), sum);
    if (rename(fresh.c_str(), path.c_str()) != 0)
        Fail(path);
    ++m_result.written;
}

void ExportFolder::Add(const std::string& path, const std::string& text, bool isPacked)
{
    const std::string sum = Sha256Of(text);
    std::vector<std::pair<const char*, std::string>> forms{ { "", text } };
    if (isPacked && text.size() > leastPacked) {
        forms.emplace_back(".gz", Gzip(text));
        forms.emplace_back(".zst", Zstd(text));
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    const std::string place = PlaceOf(path);
    for (const auto& [suffix, form] : forms) {
        Keep(sum, suffix, form);
        Link(m_folder + "/content/" + sum.substr(0, 2) + '/' + sum + suffix, place + suffix);
    }
    Note(path, sum);
}

// A file that an earlier version has a copy of.
bool ExportFolder::LinkToEarlier(const std::string& path, const struct stat& info)
{
    for (const std::string& version : NamesIn(m_folder + "/versions")) {
        const std::string earlier = m_folder + "/versions/" + version + path;
        struct stat have = {};
        if (version.size() == versionLength && lstat(earlier.c_str(), &have) == 0
            && S_ISREG(have.st_mode) && have.st_size == info.st_size
            && have.st_mtim.tv_sec == info.st_mtim.tv_sec
            && have.st_mtim.tv_nsec == info.st_mtim.tv_nsec) {
            Link(earlier, m_fresh + path);
            return true;
        }
    }
    return false;
}

void ExportFolder::Copy(const std::string& path, const Descriptor& file, const struct stat& info)
{
    const std::string place = m_fresh + path;
    const Descriptor copy(open(place.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    off_t at = 0;
    while (copy && at < info.st_size) {
        const ssize_t count = sendfile(copy.Get(), file.Get(), &at, std::size_t(info.st_size - at));
        if (count == 0)
            errno = ENODATA; // somebody has cut the file off
        if (count <= 0 && errno != EINTR)
            Fail(place);
    }
    const timespec times[] = { info.st_mtim, info.st_mtim };
    if (!copy || futimens(copy.Get(), times) != 0)
        Fail(place);
}

void ExportFolder::AddFile(const std::string& path, const Descriptor& file, const struct stat& info)
{
    const std::string place = PlaceOf(path);
    const std::string opened = "/proc/self/fd/" + std::to_string(file.Get());
    if (linkat(AT_FDCWD, opened.c_str(), AT_FDCWD, place.c_str(), AT_SYMLINK_FOLLOW) != 0
        && !LinkToEarlier(path, info))
        Copy(path, file, info);
    Note(path,
         std::to_string(info.st_size) + '.' + std::to_string(info.st_mtim.tv_sec) + '.'
             + std::to_string(info.st_mtim.tv_nsec));
}

// All of it is on the disk before it has its name, and before anything names it.
ExportResult ExportFolder::Publish(const std::map<std::string, std::string>& statements,
                                   std::time_t keep)
{
    std::string all;
    for (const auto& [path, sum] : m_sums)
        all += sum + ' ' + path + '\n';
    m_result.version = Sha256Of(all).substr(0, versionLength);
    m_result.answers = m_sums.size();
    if (syncfs(m_lock.Get()) != 0)
        Fail(m_folder);
    const std::string place = m_folder + "/versions/" + m_result.version;
    m_result.isNew = access(place.c_str(), F_OK) != 0;
    if (m_result.isNew && rename(m_fresh.c_str(), place.c_str()) != 0)
        Fail(place);
    SyncFolder(m_folder + "/versions");
    // The time for which it is kept counts from now.
    const std::string before = m_folder + "/versions/" + CurrentVersion(m_folder);
    utimensat(AT_FDCWD, before.c_str(), nullptr, AT_SYMLINK_NOFOLLOW);
    Replacement(m_folder, currentName, CurrentText(m_folder, m_result.version, statements))
        .Commit();
    Retire(m_result.version, keep);
    RemoveAll(m_fresh);
    RemoveUnused();
    return m_result;
}

void ExportFolder::Retire(const std::string& current, std::time_t keep)
{
    for (const std::string& version : NamesIn(m_folder + "/versions")) {
        const std::string path = m_folder + "/versions/" + version;
        struct stat info = {};
        if (version == current || version.size() != versionLength || lstat(path.c_str(), &info) != 0
            || std::time(nullptr) - info.st_mtim.tv_sec < keep)
            continue;
        RemoveAll(path);
        ++m_result.retired;
    }
}

// The texts that no version links to.
void ExportFolder::RemoveUnused()
{
    const std::string content = m_folder + "/content/";
    for (const std::string& part : NamesIn(content)) {
        for (const std::string& name : NamesIn(content + part)) {
            const std::string path = content + part + '/' + name;
            struct stat info = {};
            if (lstat(path.c_str(), &info) == 0 && info.st_nlink == 1)
                unlink(path.c_str());
        }
    }
}
