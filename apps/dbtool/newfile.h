// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A file that a repair makes. It is written under another name, gets its own name when it
// is complete, and never replaces an existing file or link. An exception or signal that
// ends the program removes it.

#pragma once

#include <csignal>
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
    const std::string& Path() const { return m_path; }
    const std::string& Base() const { return m_base; }

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

// Blocks SIGTERM, SIGINT and SIGHUP during a scope.
class SignalsHeld
{
public:
    SignalsHeld();
    ~SignalsHeld();
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

private:
    sigset_t m_before;
};

// From now on these signals remove the file before they end the program. Call it with the
// signals blocked when the file has just been created, and RemoveNoMore, also with the
// signals blocked, when the file has its final name or is gone.
void RemoveOnSignal(const std::string& path);
void RemoveNoMore(const std::string& path);

} // namespace DbTool
