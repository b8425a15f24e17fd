// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/cdpkg.h"

#include "base/text.h"
#include "util/logdb.h"
#include "util/paths.h"
#include "util/standardoutput.h"
#include "util/text.h"

#include <cerrno>
#include <cstring>
#include <memory>

using namespace Agent;

namespace
{

const std::size_t fieldPrefix = 7; // a field is recognised by this many characters

// Reads the next line, or the next 2,047 bytes of it, up to a zero byte.
bool ReadLine(std::FILE* file, std::string& line)
{
    char buffer[2048];
    if (!std::fgets(buffer, sizeof buffer, file))
        return false;
    line = buffer;
    if (!line.empty() && line.back() == '\n')
        line.pop_back();
    return true;
}

std::string WithoutLeadingBlanks(const std::string& text)
{
    const auto start = text.find_first_not_of(" \t");
    return start == std::string::npos ? std::string() : text.substr(start);
}

bool Holds(const std::string& line, const char* word)
{
    return line.find(word) != std::string::npos;
}

std::int32_t StatusOf(const std::string& line)
{
    return Holds(line, "not-installed") || Holds(line, "deinstall") ? 1 : 0;
}

// The number of these words, in order, that the line contains before one is missing: so
// "normal" gives 1, and "required" alone gives 0 like the rest.
std::int32_t PriorityOf(const std::string& line)
{
    std::int32_t priority = 0;
    for (const char* word : { "normal", "standard", "required", "extra", "important" }) {
        if (!Holds(line, word))
            break;
        ++priority;
    }
    return priority;
}

} // namespace

CDpkgInfo::~CDpkgInfo() = default;

void CDpkgInfo::clear()
{
    *this = CDpkgInfo();
}

// Reads one stanza, up to an empty line. A line that begins with a blank continues the
// description once there was one, and before that the list of configuration files.
bool CDpkgInfo::LoadPackageFromFile(std::FILE* file)
{
    Seen seen;
    for (std::string line; ReadLine(file, line);) {
        if (line.empty())
            return true;
        if (line[0] == ' ')
            TakeContinuation(WithoutLeadingBlanks(line), seen);
        else
            TakeField(line, seen);
    }
    return false;
}

void CDpkgInfo::TakeContinuation(const std::string& text, const Seen& seen)
{
    if (seen.description) {
        if (!m_sLongDescription.empty())
            m_sLongDescription += '\n';
        m_sLongDescription += text;
    } else if (seen.conffiles) {
        ParseConffiles(m_conffiles, text);
    }
}

void CDpkgInfo::TakeField(const std::string& line, Seen& seen)
{
    const auto colon = line.find(':');
    if (colon == std::string::npos)
        return;
    const std::string prefix = LowCase(line.substr(0, fieldPrefix));
    const std::string value = WithoutLeadingBlanks(line.substr(colon + 1));
    if (TakeText(prefix, value) || TakeRelation(prefix, value)) {
        seen.description = seen.description || prefix == "descrip";
    } else if (prefix == "status:") {
        m_nStatus = StatusOf(line);
    } else if (prefix == "priorit") {
        m_nPriority = PriorityOf(line);
    } else if (prefix == "install") {
        m_nInstalledSize = LeadingNumber(value);
    } else if (prefix == "essenti") {
        m_bEssential = LowCase(value) == "yes";
    } else if (prefix == "conffil") {
        seen.conffiles = true;
    }
}

bool CDpkgInfo::TakeText(const std::string& prefix, const std::string& value)
{
    static const std::unordered_map<std::string, std::string CDpkgInfo::*> places{
        { "package", &CDpkgInfo::m_sName },        { "section", &CDpkgInfo::m_sSection },
        { "maintai", &CDpkgInfo::m_sMaintainer },  { "version", &CDpkgInfo::m_sVersion },
        { "descrip", &CDpkgInfo::m_sDescription }, { "provide", &CDpkgInfo::m_sProvides },
        { "source:", &CDpkgInfo::m_sSource },
    };
    const auto place = places.find(prefix);
    if (place == places.end())
        return false;
    this->*place->second = value;
    return true;
}

bool CDpkgInfo::TakeRelation(const std::string& prefix, const std::string& value)
{
    using List = std::vector<OtherPackageInfo> CDpkgInfo::*;
    static const std::unordered_map<std::string, List> lists{
        { "depends", &CDpkgInfo::m_depends },    { "conflic", &CDpkgInfo::m_conflicts },
        { "enhance", &CDpkgInfo::m_enhances },   { "pre-dep", &CDpkgInfo::m_preDepends },
        { "recomme", &CDpkgInfo::m_recommends }, { "replace", &CDpkgInfo::m_replaces },
        { "suggest", &CDpkgInfo::m_suggests },
    };
    const auto list = lists.find(prefix);
    if (list == lists.end())
        return false;
    ParsePackageInfo(this->*list->second, value);
    return true;
}

// Relations are not needed here (apt knows them), so the list stays empty; the piece
// after the last comma is not even read.
void CDpkgInfo::ParsePackageInfo(std::vector<OtherPackageInfo>&, const std::string& value)
{
    std::string::size_type start = 0;
    for (auto comma = value.find(','); comma != std::string::npos; comma = value.find(',', start)) {
        OtherPackageInfo other;
        ParseNameAndVersion(value.substr(start, comma - start), other.name, other.version);
        start = comma + 1;
    }
}

std::string CDpkgInfo::ParseNameAndVersion(const std::string& piece, std::string&, std::string&)
{
    return piece;
}

void CDpkgInfo::ParseConffiles(std::vector<Conffiles>& list, const std::string& line)
{
    const auto blank = line.find(' ');
    if (blank != std::string::npos)
        list.push_back({ line.substr(0, blank), line.substr(blank + 1) });
}

CDpkg::~CDpkg() = default;

int CDpkg::ReadStatusFile()
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
        std::fopen(SystemPath("/var/lib/dpkg/status").c_str(), "re"), std::fclose);
    if (!file) {
        qCInfo(logDb, "cannot read dpkg's status file: %s", std::strerror(errno));
        return 0;
    }
    int count = 0;
    for (; m_current.LoadPackageFromFile(file.get()); ++count) {
        Append();
        m_current.clear();
    }
    // An unfinished last stanza must not run into the first one of another reading.
    m_current.clear();
    return count;
}

void CDpkg::Append()
{
    m_firstOfName.emplace(m_current.m_sName, m_packages.size());
    m_packages.push_back(m_current);
}

CDpkgInfo CDpkg::GetPackageInfo(const std::string& name) const
{
    const auto found = m_firstOfName.find(name);
    return found == m_firstOfName.end() ? CDpkgInfo() : m_packages[found->second];
}

void CDpkg::Dump() const
{
    for (const CDpkgInfo& package : m_packages)
        WriteLine(package.m_sName + '\t' + package.m_sVersion);
}
