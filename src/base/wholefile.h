// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Writing files so that a reader, and the disk after a power failure, has either the old
// text or the new one, never a part.

#pragma once

#include "base/descriptor.h"

#include <string>
#include <string_view>
#include <sys/types.h>

namespace Agent
{

// A new text for a file. It is written to a new file in the same folder; Commit replaces the
// old one in one step. Without a commit the new file is removed. Where the file system can
// have files without a name, the new file gets one only in Commit, so that a process that
// is killed before leaves nothing. All functions report failures with errno.
class FileReplacement
{
public:
    FileReplacement() = default;

    // For `path`. The new file has this mode, as far as the umask allows. A link at `path`
    // itself is replaced.
    FileReplacement(const std::string& path, mode_t mode);

    // For the file `name` in a folder; the new file is called `fresh` from the beginning.
    FileReplacement(Descriptor folder, const std::string& name, const std::string& fresh,
                    mode_t mode);

    // For a file that somebody may have arranged: a link is followed, a file that this
    // process may not write is not replaced, and in a folder where it may make no file, the
    // file itself is rewritten. A crash then leaves the beginning of the new text.
    static FileReplacement Following(const std::string& path, mode_t mode);

    FileReplacement(FileReplacement&&) noexcept = default;
    FileReplacement& operator=(FileReplacement&&) = delete;
    ~FileReplacement();

    // False if the new file could not be made.
    explicit operator bool() const { return bool(m_file); }
    int Get() const { return m_file.Get(); }

    // Appends to the new text.
    bool Write(std::string_view text);

    // Waits until the text is on the disk, replaces the old file, and waits until that is on
    // the disk too. On failure the old file is still there, unless only the last wait
    // failed.
    bool Commit();

private:
    void MakeNamed(mode_t mode);

    Descriptor m_folder; // none when the file itself is rewritten
    std::string m_name;
    std::string m_fresh; // the name of the new file
    bool m_isNamed = false; // and whether it has that name now
    Descriptor m_file;
};

// Replaces `path` by a file with this text and exactly this mode.
bool ReplaceFile(const std::string& path, std::string_view text, mode_t mode);

// Writes all of `text` and waits until it is on the disk. False with errno.
bool WriteToDisk(int fd, std::string_view text);

// Waits until the names in a folder are on the disk, given the folder or its descriptor.
// Some file systems cannot, which does not count as a failure. False with errno.
bool SyncFolder(int fd);
bool SyncFolder(const std::string& folder);

// The folder part of a path, "." for a bare name.
std::string FolderOf(const std::string& path);

// The file at the end of a chain of links; `path` itself if there is none.
std::string FinalPath(const std::string& path);

} // namespace Agent
