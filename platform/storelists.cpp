// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A refresh has two steps. First only the signed file is fetched, into an empty folder: next
// to a newer one, apt would silently keep that, and an old state would look the same as an
// unchanged one. If the file is new, everything is fetched into a copy of the lists (of
// links, which costs nothing), and the copy takes the place of the lists in one step.

#include "platform/storelists.h"

#include "base/text.h"
#include "platform/aptwords.h"
#include "platform/child.h"
#include "platform/sourcesfile.h"
#include "platform/stallwatch.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

const char machineFolder[] = "/var/lib/pakmart/stores";
constexpr std::time_t freshSeconds = 5 * 60;
constexpr int killed = 128;

// Makes a folder, and those above it, that apt's own account can enter whatever the umask is.
bool MakeFolder(const std::string& folder)
{
    std::error_code error;
    const mode_t usual = umask(022);
    fs::create_directories(folder, error);
    umask(usual);
    return !error;
}

bool IsWritable(const std::string& folder)
{
    return MakeFolder(folder) && access(folder.c_str(), R_OK | W_OK | X_OK) == 0;
}

std::string WithoutSlash(std::string folder)
{
    while (folder.size() > 1 && folder.back() == '/')
        folder.pop_back();
    return folder;
}

bool MakeEmpty(const std::string& folder)
{
    std::error_code error;
    fs::remove_all(folder, error);
    return !error && MakeFolder(folder + "/partial");
}

// Makes `copy` a folder with links to the files of `folder`: apt replaces files, and never
// changes them.
bool LinkFiles(const std::string& folder, const std::string& copy)
{
    std::error_code error;
    if (!MakeEmpty(copy))
        return false;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        const std::string name = entry.path().filename().string();
        if (entry.is_regular_file(error) && name != "lock")
            fs::create_hard_link(entry.path(), copy + '/' + name, error);
        if (error)
            return false;
    }
    return !error;
}

// The folder of a container's image cannot be renamed, though it can be removed. Its signed
// files go first: if this is cut off, what is left is fetched again.
bool RemoveLists(const std::string& folder)
{
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        if (Agent::EndsWith(entry.path().string(), "Release"))
            unlink(entry.path().c_str());
    }
    fs::remove_all(folder, error);
    return !error;
}

// Replaces a folder in one step, where the file system can do that.
bool ReplaceLists(const std::string& folder, const std::string& staged)
{
    if (renameat2(AT_FDCWD, staged.c_str(), AT_FDCWD, folder.c_str(), RENAME_EXCHANGE) == 0)
        return true;
    return errno == EXDEV && RemoveLists(folder) && rename(staged.c_str(), folder.c_str()) == 0;
}

// What apt's error lines mean for the user, by a part of them.
const struct {
    const char* part;
    const char* meaning;
} knownErrors[] = {
    { "NO_PUBKEY", "it is not signed with the key that this machine has for it" },
    { "Missing key", "it is not signed with the key that this machine has for it" },
    { "BADSIG", "its signature is wrong" },
    { "bad signature", "its signature is wrong" },
    { "REVKEYSIG", "its key is revoked" },
    { "EXPKEYSIG", "its key has expired" },
    { "Clearsigned file isn't valid", "its signed file is not whole" },
    { "is expired (invalid since", "its offers have expired, and may be stale" },
    { "is not valid yet", "its signed file is of the future. Is this machine's clock right?" },
    { "Hash Sum mismatch", "its package list is not the signed one" },
    { "unexpected size", "its package list is not the signed one" },
    { "is not signed", "it is not signed" }, // apt says so in most of these cases, too
};

std::string MeaningOf(const std::string& lines)
{
    for (const auto& [part, meaning] : knownErrors) {
        if (lines.find(part) != std::string::npos)
            return meaning;
    }
    return "it could not be fetched or verified";
}

// apt's lines as details below an error line: readers take lines that begin with a blank as
// part of it.
std::string Details(const std::string& lines)
{
    std::string details;
    for (const char c : '\n' + lines)
        details += c == '\n' ? "\n  " : std::string(1, c);
    return details;
}

} // namespace

StoreLists::StoreLists(const std::string& root, const std::string& folder)
    : m_root(root), m_folder(root + machineFolder + "/lists")
{
    if (!IsWritable(root + machineFolder) && !folder.empty())
        m_folder = WithoutSlash(folder);
}

bool StoreLists::Open()
{
    MakeFolder(m_folder + "/partial");
    m_lock = Agent::Descriptor(
        open((m_folder + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644));
    return bool(m_lock);
}

StoreLists::Access StoreLists::Lock(Access access, int seconds)
{
    const int kind = access == Access::Change ? LOCK_EX : LOCK_SH;
    const sigset_t ends = EndSignals();
    const timespec pause{ 0, 100 * 1000 * 1000 };
    for (int tries = 0; seconds < 0 || tries <= 10 * seconds; ++tries) {
        if (flock(m_lock.Get(), kind | LOCK_NB) == 0)
            return access;
        m_signal = std::max(sigtimedwait(&ends, nullptr, &pause), 0);
        if (m_signal > 0)
            break;
    }
    return Access::None;
}

ReleaseFile StoreLists::Release(const TrustedStore& store) const
{
    return ReadRelease(m_folder + '/' + store.ReleaseName());
}

std::string StoreLists::Fault(const TrustedStore& store) const
{
    const ReleaseFile release = Release(store);
    return release ? FaultOf(release, store.expected, {}, std::time(nullptr))
                   : "it could not be checked yet";
}

// The time of a store's last refresh is that of a file of its own.
bool StoreLists::IsFresh(const TrustedStore& store) const
{
    struct stat info = {};
    const std::string mark = m_folder + ".checked/" + store.ReleaseName();
    const std::time_t now = std::time(nullptr);
    return stat(mark.c_str(), &info) == 0 && info.st_mtime <= now
        && now - info.st_mtime < freshSeconds && Fault(store).empty();
}

void StoreLists::MarkFresh(const TrustedStore& store) const
{
    const std::string mark = m_folder + ".checked/" + store.ReleaseName();
    MakeFolder(m_folder + ".checked");
    const Agent::Descriptor file(
        open(mark.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644));
    if (file)
        futimens(file.Get(), nullptr);
}

std::string StoreLists::Fetch(const TrustedStore& store, const std::string& folder,
                              bool onlyRelease, int stallSeconds)
{
    const SourcesFile sources(store.SourceLine());
    std::vector<std::string> words = FinalWords(sources.Path(), folder);
    words.emplace_back("--option=APT::Get::List-Cleanup=false");
    words.emplace_back("--option=pkgCacheFile::Generate=false");
    if (onlyRelease)
        words.emplace_back("--option=Acquire::IndexTargets::deb::Packages::DefaultEnabled=false");
    words.emplace_back("update");
    Child child;
    if (!child.Start(words, AptSettings(m_root, true, Child::statusFd), m_root))
        return "apt-get could not be started";
    StallWatch watch(folder + "/partial", stallSeconds);
    std::string errors;
    bool stalled = false;
    const auto tick = [&] {
        if (!stalled && watch.HasStalled()) {
            stalled = true;
            child.Interrupt();
        }
    };
    const int status = child.Read(
        [&errors](const std::string& line) {
            const bool continues = !line.empty() && line[0] == ' ' && !errors.empty();
            if (Agent::BeginsWith(line, "E:") || Agent::BeginsWith(line, "W:") || continues)
                errors += (errors.empty() ? "" : "\n") + line;
        },
        [](const std::string&) {}, tick);
    HoldEndSignals(); // for the next child
    if (stalled)
        return "it sends almost nothing";
    m_signal = status > killed ? status - killed : 0;
    return status == 0 ? std::string() : MeaningOf(errors) + '.' + Details(errors);
}

// Whether the staged lists may take the place of the present ones; the reason if not.
std::string StoreLists::Accept(const TrustedStore& store, const std::string& staged)
{
    const ReleaseFile release = ReadRelease(staged + '/' + store.ReleaseName());
    if (!release)
        return "its signed file is missing";
    return FaultOf(release, store.expected, Release(store), std::time(nullptr));
}

std::string StoreLists::FetchChanged(const TrustedStore& store,
                                     const Agent::StoreSettings& settings)
{
    const std::string probe = m_folder + ".probe", staged = m_folder + ".new";
    if (!MakeEmpty(probe) || !LinkFiles(m_folder, staged))
        return std::string("its lists cannot be written: ") + std::strerror(errno);
    std::string fault = Fetch(store, probe, true, settings.stallSeconds);
    if (fault.empty())
        fault = Accept(store, probe);
    const ReleaseFile offered = ReadRelease(probe + '/' + store.ReleaseName());
    if (!fault.empty() || offered.text == Release(store).text)
        return fault;
    fault = Fetch(store, staged, false, settings.stallSeconds);
    if (fault.empty())
        fault = Accept(store, staged);
    if (fault.empty() && ReadRelease(staged + '/' + store.ReleaseName()).date < offered.date)
        fault = "it answers now with newer offers, now with older ones";
    if (fault.empty() && !ReplaceLists(m_folder, staged))
        fault = std::string("its lists cannot be written: ") + std::strerror(errno);
    return fault;
}

bool StoreLists::Refresh(const TrustedStore& store, const Agent::StoreSettings& settings,
                         std::string& error)
{
    const std::string fault = FetchChanged(store, settings);
    std::error_code ignored;
    fs::remove_all(m_folder + ".probe", ignored);
    fs::remove_all(m_folder + ".new", ignored);
    if (fault.empty()) {
        MarkFresh(store);
        return true;
    }
    const auto end = std::min(fault.find('\n'), fault.size());
    const std::string sentence = fault.substr(0, end);
    error = "E: The store " + Agent::Quoted(store.uri) + " is refused: " + sentence
        + (sentence.back() == '.' ? "" : ".") + fault.substr(end);
    return false;
}
