// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/planground.h"

#include "install/crunaptget.h"
#include "util/paths.h"

#include <QCryptographicHash>
#include <QFile>
#include <ctime>
#include <dirent.h>
#include <memory>
#include <string>
#include <sys/stat.h>

namespace Pakmart
{

namespace
{

const char storeLists[] = "/var/lib/pakmart/stores/lists";
constexpr int mostFiles = 5000;

// Calls `visit` with the path and the state of each entry; false if there are more than `left`.
template <typename Visit> bool ForEachIn(const std::string& folder, int& left, Visit visit)
{
    const std::unique_ptr<DIR, int (*)(DIR*)> opened(opendir(folder.c_str()), closedir);
    while (const dirent* entry = opened ? readdir(opened.get()) : nullptr) {
        if (entry->d_name[0] == '.')
            continue;
        if (--left < 0)
            return false;
        const std::string path = folder + '/' + entry->d_name;
        struct stat info = {};
        if (stat(path.c_str(), &info) == 0)
            visit(path, info);
    }
    return true;
}

// In the order in which a folder lists its files, which only a change of the folder changes.
QByteArray MarkOf(const std::string& path, const struct stat& info)
{
    if (S_ISDIR(info.st_mode)) // apt makes temporary files in some
        return QByteArray();
    return QByteArray::fromStdString(path) + ' ' + QByteArray::number(qulonglong(info.st_ino)) + ' '
        + QByteArray::number(qlonglong(info.st_size)) + ' '
        + QByteArray::number(qlonglong(info.st_mtim.tv_sec)) + ' '
        + QByteArray::number(qlonglong(info.st_mtim.tv_nsec)) + '\n';
}

std::string WithoutSlash(std::string folder)
{
    while (folder.size() > 1 && folder.back() == '/')
        folder.pop_back();
    return folder;
}

} // namespace

QByteArray GroundOfPlans()
{
    QCryptographicHash ground(QCryptographicHash::Sha256);
    int left = mostFiles;
    bool all = true;
    const auto note = [&ground](const std::string& path, const struct stat& info) {
        ground.addData(MarkOf(path, info));
    };
    for (const char* file :
         { "/var/lib/dpkg/status", "/var/lib/dpkg/arch", "/var/lib/apt/extended_states" }) {
        const std::string path = Agent::SystemPath(std::string(file));
        struct stat info = {};
        if (stat(path.c_str(), &info) == 0)
            note(path, info);
    }
    for (const char* folder :
         { "/var/lib/dpkg/updates", "/etc/apt", "/etc/apt/apt.conf.d", "/etc/apt/preferences.d",
           "/etc/apt/sources.list.d", "/var/lib/apt/lists", storeLists, "/etc/pakmart",
           "/etc/pakmart/stores.d", "/etc/pakmart/keys" })
        all = ForEachIn(Agent::SystemPath(std::string(folder)), left, note) && all;
    all = ForEachIn(WithoutSlash(CRunAptGet::ListsDir(true)), left, note) && all;
    QFile sources(QFile::decodeName(CRunAptGet::SourcesFile(true).c_str()));
    if (sources.open(QIODevice::ReadOnly))
        ground.addData(sources.readAll());
    return all ? ground.result() : QByteArray();
}

// Each list has a file with the time at which it was last found to be current. The front end
// looks again after five minutes.
bool ListsStayAsTheyAre()
{
    constexpr std::time_t longest = 4 * 60;
    const std::time_t now = std::time(nullptr);
    bool stay = true;
    int left = mostFiles;
    for (const std::string& lists :
         { Agent::SystemPath(std::string(storeLists)), WithoutSlash(CRunAptGet::ListsDir(true)) })
        stay = ForEachIn(lists + ".checked", left,
                         [&stay, now](const std::string&, const struct stat& mark) {
                             stay = stay && mark.st_mtime <= now && now - mark.st_mtime < longest;
                         })
            && stay;
    return stay;
}

} // namespace Pakmart
