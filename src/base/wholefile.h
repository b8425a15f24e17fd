// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Writing files so that a reader, and the disk after a power failure, has either the old
// text or the new one, never a part.

#pragma once

#include <string>
#include <string_view>
#include <sys/types.h>

namespace Agent
{

// Writes all of `text` and waits until it is on the disk. False with errno.
bool WriteToDisk(int fd, std::string_view text);

// Waits until the names in a folder are on the disk, given the folder or its descriptor.
// Some file systems cannot, which does not count as a failure. False with errno.
bool SyncFolder(int fd);
bool SyncFolder(const std::string& folder);

// The folder part of a path, "." for a bare name.
std::string FolderOf(const std::string& path);

// Replaces `path` by a file with this text and mode: it is written to a new file in the
// same folder and synced, then renamed, and the folder is synced. A link at `path` itself is
// replaced. On failure it returns false with errno, and the old file is still there, unless
// only the last sync failed: then it is the new file.
bool ReplaceFile(const std::string& path, std::string_view text, mode_t mode);

} // namespace Agent
