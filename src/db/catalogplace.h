// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Where the files of an open catalog database are, and what opens them: the common part of
// the catalog and of its dependencies.

#pragma once

#include "db/dboptions.h"
#include "db/heldfiles.h"

#include <string>

namespace Agent
{

class CatalogPlace
{
public:
    explicit CatalogPlace(const DbOptions& options) : m_options(options), m_own(m_options.Files())
    {
    }

    // Empty: the described paths.
    const std::string& Folder() const { return m_options.folder; }
    // Whether the files are those of another owner, who is responsible for replaced ones.
    bool IsFixed() const { return m_options.held != nullptr; }
    // Whether nobody else can see them until they are closed.
    bool IsPrivate() const { return m_options.isPrivate; }
    // Where all files are opened.
    HeldFiles& Files() { return IsFixed() ? *m_options.held : m_own; }
    // For new generations.
    StoreFiles& FilesBelow() const { return m_options.Files(); }
    // For another database that is opened through the same open files.
    DbOptions Shared() { return { m_options.folder, m_options.files, &Files(), IsPrivate() }; }

    // The path of a file in the folder, or the described one.
    std::string PathOf(const char* name, const std::string& described) const
    {
        return Folder().empty() ? described : Folder() + name;
    }

    // The data file, as it was opened last.
    void SetOpened(const std::string& data) { m_opened = data; }
    const std::string& Opened() const { return m_opened; }
    // Whether `data` no longer leads to that file.
    bool IsReplaced(const std::string& data) const
    {
        return !IsFixed() && !m_own.LeadsTo(data, m_opened);
    }

    // Closes the files, unless they are another owner's.
    void Close() { m_own.CloseAll(); }

private:
    const DbOptions m_options;
    HeldFiles m_own;
    std::string m_opened;
};

} // namespace Agent
