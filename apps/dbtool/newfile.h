// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A file that a repair makes: it grows under another name and gets its own when
// it is whole, never in place of a file or link that is there. An exception or a
// signal that ends the program takes it away.

#pragma once

#include <string>

namespace DbTool
{

class NewFile
{
public:
    // The file will be called `name` + `ending`. Throws Trouble if there is one
    // already or none can be made.
    NewFile(const std::string& name, const std::string& ending = std::string());
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    // What it will be called.
    const std::string& name() const { return m_name; }
    // The path to write to, and the same without the ending.
    const std::string& path() const { return m_path; }
    const std::string& base() const { return m_base; }

    // Brings it to the disk and gives it its name. Throws Trouble if that fails.
    void Publish();
    // Takes that back.
    void Withdraw();

private:
    const std::string m_name;
    const std::string m_base;
    const std::string m_path;
    bool m_published = false;
};

} // namespace DbTool
