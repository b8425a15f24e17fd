// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/privateroot.h"

#include <cstdlib>
#include <memory>
#include <unistd.h>

namespace Agent
{

namespace
{

std::string ReadPrivateRoot()
{
    const char* value = secure_getenv("PAKMART_SYSROOT");
    std::string root = value ? value : "";
    while (!root.empty() && root.back() == '/')
        root.pop_back();
    if (root.empty() || root.front() == '/')
        return root;
    const std::unique_ptr<char, void (*)(void*)> here(getcwd(nullptr, 0), std::free);
    return (here ? here.get() : "") + ('/' + root);
}

} // namespace

const std::string& PrivateRoot()
{
    static const std::string root = ReadPrivateRoot();
    return root;
}

bool MayChangePackages()
{
    return geteuid() == 0 || !PrivateRoot().empty();
}

} // namespace Agent
