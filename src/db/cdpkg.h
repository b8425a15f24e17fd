// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CDpkg
/// The packages of this machine, as dpkg keeps them in its status file.
///
///     CDpkg packages;
///     packages.ReadStatusFile();
///     const CDpkgInfo info = packages.GetPackageInfo("bash");
///     if (!info.GetName().empty() && info.GetStatus() == 0)
///         ... // bash is installed
///
/// Texts are the bytes of the file, which are UTF-8.

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <unordered_map>
#include <vantrelagent/export.h>
#include <vector>

/// A configuration file of a package.
struct Conffiles {
    std::string path; ///< absolute
    std::string checksum; ///< and the words after it, such as "obsolete"
};

/// A package that another one refers to.
struct OtherPackageInfo {
    std::string name; ///< of the package
    std::string version; ///< and the comparison with it
};

/// One stanza of the status file.
///
/// A field is recognised by the first 7 characters of its line, in any letter case, so
/// a longer name with the same beginning is taken for it (Description-md5 for the
/// description); a later line replaces an earlier one. Values keep blanks at
/// their ends. A line of more than 2,047 bytes is read in pieces of that size,
/// each treated as a line; a line ends at a zero byte.
class VANTRELAGENT_EXPORT CDpkgInfo
{
public:
    CDpkgInfo() = default;
    virtual ~CDpkgInfo();
    /// Copies share nothing.
    /// @{
    CDpkgInfo(const CDpkgInfo&) = default;
    CDpkgInfo& operator=(const CDpkgInfo&) = default;
    /// @}

    /// Empties every field.
    void clear();

    /// Reads up to the empty line that ends a stanza. The caller clears the fields
    /// first. False at the end of the file, even in the middle of a stanza.
    bool LoadPackageFromFile(std::FILE* file);

    /// Skips a relation, whose packages are not kept: `list` stays as it is.
    void ParsePackageInfo(std::vector<OtherPackageInfo>& list, const std::string& value);
    /// Returns `piece`; name and version stay as they are.
    std::string ParseNameAndVersion(const std::string& piece, std::string& name,
                                    std::string& version);
    /// Appends "PATH CHECKSUM"; a line without a blank is left out.
    void ParseConffiles(std::vector<Conffiles>& list, const std::string& line);

    std::string GetName() const { return m_sName; } ///< the package
    std::string GetVersion() const { return m_sVersion; } ///< its version, as dpkg writes it
    /// 1: not installed or marked for removal; 0: anything else, even without a status
    /// line. So an empty record has 0: check first whether it has a name.
    int GetStatus() const { return m_nStatus; }

    /// 1 for the priority "normal", and 0 for any other single word; more than 1 for a
    /// line with several words.
    std::int32_t m_nPriority = 0;
    std::int32_t m_nStatus = 0; ///< the result of GetStatus
    bool m_bEssential = false; ///< the system does not work without it
    std::vector<Conffiles> m_conffiles; ///< its configuration files
    /// The relations always stay empty.
    /// @{
    std::vector<OtherPackageInfo> m_conflicts;
    std::vector<OtherPackageInfo> m_depends;
    std::vector<OtherPackageInfo> m_enhances;
    std::vector<OtherPackageInfo> m_preDepends;
    std::vector<OtherPackageInfo> m_recommends;
    std::vector<OtherPackageInfo> m_replaces;
    std::vector<OtherPackageInfo> m_suggests;
    /// @}
    std::string m_sLongDescription; ///< lines without their blanks, line ends between them
    std::string m_sMaintainer; ///< name and address of the maintainer
    std::string m_sName; ///< the package
    std::string m_sProvides; ///< the relation, not parsed
    std::string m_sSection; ///< of the archive
    std::string m_sDescription; ///< the one line
    std::string m_sSource; ///< the source package, if its name differs
    std::string m_sVersion; ///< as dpkg writes it
    std::int32_t m_nInstalledSize = 0; ///< in kilobytes

private:
    // Which of the fields with lines below them a stanza has had so far.
    struct Seen {
        bool description = false;
        bool conffiles = false;
    };
    void TakeContinuation(const std::string& text, const Seen& seen);
    void TakeField(const std::string& line, Seen& seen);
    bool TakeText(const std::string& prefix, const std::string& value);
    bool TakeRelation(const std::string& prefix, const std::string& value);
};

class VANTRELAGENT_EXPORT CDpkg
{
public:
    CDpkg() = default;
    virtual ~CDpkg();
    /// Copies share nothing.
    /// @{
    CDpkg(const CDpkg&) = default;
    CDpkg& operator=(const CDpkg&) = default;
    /// @}

    /// Appends a record for each stanza of /var/lib/dpkg/status, and returns their
    /// number; 0 when the file cannot be read. A last stanza without an empty line
    /// after it is lost.
    int ReadStatusFile();

    /// The first record with that name, compared exactly; an empty record if there is
    /// none. The time does not depend on the number of records.
    CDpkgInfo GetPackageInfo(const std::string& name) const;

    /// All records, in the order of the file.
    const std::vector<CDpkgInfo>& Packages() const { return m_packages; }

    /// Writes name, tab, version of each record to standard output.
    void Dump() const;

private:
    void Append();

    std::vector<CDpkgInfo> m_packages;
    CDpkgInfo m_current;
    std::unordered_map<std::string, std::size_t> m_firstOfName;
};
