// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/administered.h"

#include "base/descriptor.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Agent
{

namespace
{

constexpr off_t largestFile = 1024 * 1024;
const char changeable[] = ": others than the administrator can change it";

bool IsAdministrators(const struct stat& info, bool isPrivate)
{
    const bool owned = info.st_uid == 0 || (isPrivate && info.st_uid == geteuid());
    return owned && (info.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

} // namespace

std::string AdministeredFault(const std::string& path, const std::string& root)
{
    struct stat info = {};
    if (stat((root + path).c_str(), &info) != 0)
        return path + ": " + std::strerror(errno);
    return IsAdministrators(info, !root.empty()) ? std::string() : path + changeable;
}

std::string ReadAdministered(const std::string& path, const std::string& root, std::string& fault)
{
    const Descriptor file(open((root + path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat info = {};
    if (!file || fstat(file.Get(), &info) != 0) {
        fault = path + ": " + std::strerror(errno);
        return {};
    }
    const bool isFile = S_ISREG(info.st_mode) && info.st_size <= largestFile;
    if (!isFile || !IsAdministrators(info, !root.empty())) {
        fault = path + (isFile ? changeable : ": this is not a text");
        return {};
    }
    std::string text(std::size_t(info.st_size), '\0');
    const ssize_t count = read(file.Get(), text.data(), text.size());
    text.resize(count > 0 ? std::size_t(count) : 0);
    return text;
}

} // namespace Agent
