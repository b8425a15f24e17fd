// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "memoryfile.h"

#include "base/wholefile.h"
#include "storefile.h"

#include <cerrno>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

using namespace Agent;

Descriptor MemoryFile(const std::string& text)
{
    Descriptor file(memfd_create("text", MFD_CLOEXEC));
    if (!file || !WriteToDisk(file.Get(), text) || lseek(file.Get(), 0, SEEK_SET) != 0)
        throw StoreError(std::string("cannot keep a text: ") + std::strerror(errno));
    return file;
}
