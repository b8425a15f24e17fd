// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "registrations.h"

#include "storeerror.h"
#include "storefile.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

namespace
{

const off_t kLargestFile = 64 * 1024 * 1024;

std::string Now()
{
    const std::time_t now = std::time(nullptr);
    std::tm utc;
    char text[32] = "";
    if (gmtime_r(&now, &utc))
        std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

} // namespace

void AddRegistration(const std::string& folder, const std::string& id)
{
    const std::string name = folder + "/registrations";
    const FileHandle file(
        open(name.c_str(), O_WRONLY | O_APPEND | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    if (!file && errno == ENOENT)
        return;
    struct stat info = {};
    if (!file || fstat(file.fd(), &info) != 0)
        throw StoreError(name + ": " + std::strerror(errno));
    if (!S_ISREG(info.st_mode) || info.st_size >= kLargestFile)
        throw StoreError(name + ": this is no file, or it is full");
    // One call, so that lines of several threads do not mix.
    const std::string line = Now() + ' ' + id + '\n';
    if (write(file.fd(), line.data(), line.size()) != ssize_t(line.size()))
        throw StoreError(name + ": a registration could not be written");
}
