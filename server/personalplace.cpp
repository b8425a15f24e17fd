// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "personalplace.h"

#include "personalfiles.h"
#include "personalimport.h"
#include "sqlpersonaldata.h"

#include <QCoreApplication>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

// Qt's drivers are plugins, which need an application. They print what an error says anyway.
void PrepareQt()
{
    if (QCoreApplication::instance())
        return;
    setenv("LC_ALL", "C.UTF-8", 1);
    static char name[] = "pakmart-storeserver";
    static std::array<char*, 2> words{ name, nullptr };
    static int count = 1;
    // Never destroyed: at the end of the process Qt 6 would look for what has gone before it.
    new QCoreApplication(count, words.data());
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
}

// What root makes belongs to the owner of the folder, as whom the server runs. SQLite does the same
// with the files that it makes beside it.
bool GiveToOwner(const Descriptor& file, const std::string& folder)
{
    struct stat info = {};
    return geteuid() != 0
        || (stat(folder.c_str(), &info) == 0 && fchown(file.Get(), info.st_uid, info.st_gid) == 0);
}

std::string MakeFile(const std::string& folder)
{
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
        throw StoreError(folder + ": " + std::strerror(errno));
    const std::string file = folder + "/personal.sqlite";
    const Descriptor opened(open(file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    struct stat info = {};
    if (!opened || !GiveToOwner(opened, folder) || fstat(opened.Get(), &info) != 0)
        throw StoreError(file + ": " + std::strerror(errno));
    if ((info.st_mode & 077) != 0)
        throw StoreError(file + ": others than its owner may use this file; `chmod 600` it");
    return file;
}

} // namespace

void Require(const PersonalFault& fault)
{
    if (fault)
        throw StoreError(fault.text);
}

std::unique_ptr<SqlPersonalData> OpenDatabase(const PersonalPlace& place)
{
    PrepareQt();
    SqlSource source{ SqlSource::Engine::PostgreSql, place.postgresql };
    if (place.postgresql.empty())
        source = { SqlSource::Engine::Sqlite, MakeFile(place.state) };
    auto data = std::make_unique<SqlPersonalData>(source);
    Require(data->Prepare());
    return data;
}

std::unique_ptr<PersonalData> OpenPersonalData(const PersonalPlace& place, const std::string& store)
{
    std::unique_ptr<PersonalData> data;
    if (place.IsDatabase()) {
        auto database = OpenDatabase(place);
        ImportPersonalFiles(store, *database);
        data = std::move(database);
    } else {
        data = std::make_unique<PersonalFiles>(store);
    }
    Require(data->Check());
    return data;
}
