// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CConfigFile
/// A settings file of `key = value` lines.
///
/// Keys may contain blanks ("keep agent xml"); blanks around key and value do not
/// count, and keys are compared exactly. A line whose first character other
/// than a blank is '#' is a comment. If a key occurs twice, the last line
/// counts. Any other line is kept and ignored.
///
/// The file is read when the object is made. A missing or unreadable file, a
/// directory and a file that is not text (a NUL byte, or over 1 MiB) read as
/// empty: every value is then its default. A change replaces the file in one
/// step, so that a reader sees either the old text or the new one whole; comments,
/// order and unknown lines stay as they were.

#pragma once

#include <string>
#include <utility>
#include <vector>

class CConfigFile
{
public:
    /// Reads `path`. With `bCreate` a missing file is made, empty.
    CConfigFile(const std::string& path, bool bCreate);

    /// The value of `key` as a decimal number, surrounding blanks allowed; the
    /// default when the key is missing or its value is not a number that fits.
    long GetLongValue(const std::string& key, long nDefault) const;

    /// The value of `key`; the default when the key is missing.
    std::string GetStringValue(const std::string& key, const std::string& sDefault) const;

    /// Sets `key`, on its present line or at the end. With `bWrite` the file is
    /// written at once, otherwise by Close(). False when the file cannot represent
    /// the key or the value (a line end or NUL in either, blanks at an end, an empty
    /// key, a key with '=' or a leading '#'), or when writing failed; the file is then
    /// unchanged.
    bool SetValue(const std::string& key, const std::string& value, bool bWrite);

    /// Writes pending changes of SetValue. False when that failed. The destructor
    /// does not write them.
    bool Close();

private:
    std::vector<std::string>::size_type Find(const std::string& key) const;
    void Read();
    bool Write();

    std::string m_path;
    std::vector<std::string> m_lines; // without their line ends
    bool m_readable = true; // false: something exists that is not a settings file
    bool m_dirty = false;
};
