// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Writing files so that a reader, and the disk after a loss of power, has the old text or
// the new one, never a part.

#pragma once

#include <string>
#include <string_view>
#include <sys/types.h>

namespace Agent
{

// Writes all of `text` and waits until it is on the disk. False with errno.
bool WriteToDisk(int fd, std::string_view text);

// Waits until the names in a folder are on the disk, given the folder or its descriptor.
// Some file systems cannot, which is no failure. False with errno.
bool SyncFolder(int fd);
bool SyncFolder(const std::string& folder);

// The folder part of a path, "." for a bare name.
std::string FolderOf(const std::string& path);

// Puts a file with this text and mode in the place of `path`: written beside it, on the
// disk, renamed, and the folder synced. A link at `path` itself is replaced. False with
// errno, and then the old file is there; only when the last sync failed is it the new one.
bool ReplaceFile(const std::string& path, std::string_view text, mode_t mode);

} // namespace Agent
