// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A file that a repair makes. It is written under another name, gets its own name when it
// is complete, and never replaces an existing file or link. An exception or signal that
// ends the program removes it.

#pragma once

#include <string>

namespace DbTool
{

class NewFile
{
public:
    // The file will be called `name` + `ending`. Throws Trouble if that exists already or
    // cannot be made.
    NewFile(const std::string& name, const std::string& ending = std::string());
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    // The final name.
    const std::string& name() const { return m_name; }
    // The path to write to, and the same without the ending.
    const std::string& path() const { return m_path; }
    const std::string& base() const { return m_base; }

    // Syncs the file and gives it its name. Throws Trouble if that fails.
    void Publish();
    // Undoes Publish.
    void Withdraw();

private:
    const std::string m_name;
    const std::string m_base;
    const std::string m_path;
    bool m_published = false;
};

} // namespace DbTool
