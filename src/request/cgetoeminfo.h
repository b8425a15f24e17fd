// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CGetOEMInfo
/// The system builder this installation came from, as the file
/// "/etc/vantrel-welcome/builder.txt" names it:
///
///     id=0000000042
///     name=Acme Computers
///
/// The case of keys does not matter, white space after the '=' is dropped, blanks at
/// the end of a line are kept. If a key occurs on several lines, the last one counts;
/// other lines are ignored. A line is read in pieces of 1023 bytes.

#pragma once

#include <string>
#include <vantrelagent/export.h>

class VANTRELAGENT_EXPORT CGetOEMInfo
{
public:
    /// Reads the file. Without it, or without a key in it: the identifier
    /// "0000000001" and the vendor's name.
    CGetOEMInfo();
    virtual ~CGetOEMInfo();

    std::string getID() const { return m_sID; } ///< the builder's identifier
    std::string getName() const { return m_sName; } ///< the builder's name

    /// Reads the file (again) and replaces the values that it gives. If it cannot be
    /// read, all values stay as they are.
    void readFile();

    /// Moves `*pp` over white space, at most to the end of the text.
    void SkipWhite(char** pp);

private:
    std::string m_sID;
    std::string m_sName;
};
