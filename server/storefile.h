// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Files below one folder, read and replaced without ever leaving it.

#pragma once

#include "base/descriptor.h"
#include "base/wholefile.h"
#include "storefile.h"

#include <cerrno>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <sys/stat.h>

using Agent::Descriptor;

// A store that cannot be served: a missing file, an invalid line. The text names the
// file and, if there is one, the line.
class StoreError : public std::runtime_error
{
    using runtime_error::runtime_error;
};

// Opens the regular file `path` below the folder `root` for reading and gets its status.
// No handle, with errno set, when there is no such file, or when `path` is absolute, has
// an empty or ".." component or leads through a symbolic link.
Descriptor OpenBelow(const std::string& root, const std::string& path, struct stat& info);

// The text of such a file, and the mark that shows a later change.
struct StoreFile {
    std::string text;
    struct stat info;
};
bool SameFile(const struct stat& a, const struct stat& b);

// The maximum size of a file of the store, in bytes.
constexpr std::size_t largestStoreFile = 256 * 1024 * 1024;

// Throws StoreError, naming the file, when it cannot be read or is over 256 MB.
StoreFile ReadStoreFile(const std::string& root, const std::string& path);

// One file of the store in parsed form. It is read when first needed, and again when it
// has changed (its time, size or inode). Thread-safe.
template <class T> class CachedFile
{
public:
    using Parser = T (*)(const std::string& text, const std::string& path);

    CachedFile(std::string root, std::string path, Parser parse)
        : m_root(std::move(root)), m_path(std::move(path)), m_parse(parse)
    {
    }

    // Throws StoreError as long as the file is missing or invalid.
    std::shared_ptr<const T> Get()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        struct stat now = {};
        if (m_value && OpenBelow(m_root, m_path, now) && SameFile(now, m_info))
            return m_value;
        m_value.reset();
        const StoreFile file = ReadStoreFile(m_root, m_path);
        m_value = std::make_shared<const T>(m_parse(file.text, m_root + '/' + m_path));
        m_info = file.info;
        return m_value;
    }

    // The same, but returns an empty value, always the same, as long as there is no such file.
    std::shared_ptr<const T> GetIfThere()
    {
        static const auto none = std::make_shared<const T>();
        struct stat info = {};
        if (!OpenBelow(m_root, m_path, info) && errno == ENOENT)
            return none;
        return Get();
    }

private:
    const std::string m_root;
    const std::string m_path;
    const Parser m_parse;
    std::mutex m_mutex;
    std::shared_ptr<const T> m_value;
    struct stat m_info = {};
};

// Locks the folder of a store for a command that changes it, until the descriptor is closed.
// Throws StoreError when another command has it, or there is no such folder.
Descriptor LockStore(const std::string& folder);

// Whether there is such a folder, with nothing in it.
bool IsEmptyFolder(const std::string& folder);

// The new text of a file, which replaces the old one in one step.

class Replacement
{
public:
    // Writes the text to a new file next to `path` below the folder `root`, and syncs it.
    // Writes nothing if the file already has this text. Throws StoreError when it cannot
    // be written; links are not followed.
    Replacement(const std::string& root, const std::string& path, const std::string& text);

    // Replaces the old text by the new one; throws StoreError if that fails. Without a
    // commit the new text is removed.
    void Commit();

private:
    std::string m_path; // for messages
    Agent::FileReplacement m_file;
};
