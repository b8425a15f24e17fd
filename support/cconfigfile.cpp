// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "support/cconfigfile.h"

#include "base/descriptor.h"
#include "base/wholefile.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

using namespace Agent;

namespace
{

constexpr std::size_t maxSize = 1 << 20;
constexpr const char* blanks = " \t\r\v\f";

std::string Trim(const std::string& text)
{
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// The text of a regular file; nothing if it is something else, too long or unreadable.
std::optional<std::string> ReadWhole(int fd)
{
    struct stat info;
    if (fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || info.st_size > off_t(maxSize))
        return std::nullopt;
    std::string text;
    char block[4096];
    while (true) {
        const ssize_t count = read(fd, block, sizeof block);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0 || text.size() > maxSize)
            return std::nullopt;
        if (count == 0)
            return text;
        text.append(block, std::size_t(count));
    }
}

mode_t ModeOf(const std::string& path)
{
    struct stat info;
    return stat(path.c_str(), &info) == 0 ? info.st_mode & 07777 : 0644;
}

bool IsComment(const std::string& line)
{
    const auto first = line.find_first_not_of(blanks);
    return first != std::string::npos && line[first] == '#';
}

// The key and the value of a line; nothing for a comment or a line without '='.
std::optional<std::pair<std::string, std::string>> Setting(const std::string& line)
{
    const auto equals = line.find('=');
    if (equals == std::string::npos || IsComment(line))
        return std::nullopt;
    return std::make_pair(Trim(line.substr(0, equals)), Trim(line.substr(equals + 1)));
}

} // namespace

CConfigFile::CConfigFile(const std::string& path, bool bCreate) : m_path(path)
{
    if (bCreate)
        Descriptor(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    Read();
}

void CConfigFile::Read()
{
    const Descriptor fd(open(m_path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd) {
        m_readable = errno == ENOENT;
        return;
    }
    const std::optional<std::string> text = ReadWhole(fd.Get());
    if (!text || text->find('\0') != std::string::npos) {
        m_readable = false;
        return;
    }
    for (std::size_t start = 0; start < text->size();) {
        const std::size_t end = std::min(text->find('\n', start), text->size());
        m_lines.push_back(text->substr(start, end - start));
        start = end + 1;
    }
}

std::vector<std::string>::size_type CConfigFile::Find(const std::string& key) const
{
    auto at = m_lines.size();
    while (at-- > 0) {
        const auto setting = Setting(m_lines[at]);
        if (setting && setting->first == key)
            return at;
    }
    return std::string::npos;
}

long CConfigFile::GetLongValue(const std::string& key, long nDefault) const
{
    const std::string text = GetStringValue(key, std::string());
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(text.c_str(), &end, 10);
    return text.empty() || *end != '\0' || errno == ERANGE ? nDefault : value;
}

std::string CConfigFile::GetStringValue(const std::string& key, const std::string& sDefault) const
{
    const auto at = Find(key);
    return at == std::string::npos ? sDefault : Setting(m_lines[at])->second;
}

bool CConfigFile::SetValue(const std::string& key, const std::string& value, bool bWrite)
{
    const std::string lineEnds("\n\0", 2);
    if (key.empty() || key[0] == '#' || key.find('=') != std::string::npos || Trim(key) != key
        || Trim(value) != value || key.find_first_of(lineEnds) != std::string::npos
        || value.find_first_of(lineEnds) != std::string::npos || !m_readable)
        return false;
    const std::vector<std::string> before = m_lines;
    const std::string line = key + " = " + value;
    const auto at = Find(key);
    if (at == std::string::npos)
        m_lines.push_back(line);
    else
        m_lines[at] = line;
    if (!bWrite) {
        m_dirty = true;
        return true;
    }
    if (Write())
        return true;
    m_lines = before;
    return false;
}

bool CConfigFile::Close()
{
    return !m_dirty || Write();
}

bool CConfigFile::Write()
{
    std::string text;
    for (const std::string& line : m_lines)
        text += line + '\n';
    // A settings file that is a link stays one.
    const std::string target = FinalPath(m_path);
    if (!ReplaceFile(target, text, ModeOf(target)))
        return false;
    m_dirty = false;
    return true;
}
