// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "install/failurereason.h"

#include "util/translated.h"

#include <algorithm>
#include <iterator>

namespace Agent
{

namespace
{

struct Sign {
    const char* text; // somewhere in a line
    AgentError::Code code;
};

// Messages of apt-get and dpkg in the C locale. The first entry of this table that any
// line contains decides, so causes come before their consequences.
// clang-format off
const Sign signs[] = {
    { "Hash Sum mismatch",                    AgentError::HashMismatch },
    { "File has unexpected size",             AgentError::HashMismatch },
    { "No space left on device",              AgentError::NoDiskSpace },
    { "You don't have enough free space",     AgentError::NoDiskSpace },
    { "are you root?",                        AgentError::NotPermitted },
    { "requires superuser privilege",         AgentError::NotPermitted },
    { "permission, which was not given",      AgentError::NotPermitted },
    { "nly root can ",                        AgentError::NotPermitted },
    { "Could not get lock",                   AgentError::LockHeld },
    { "Unable to acquire the dpkg frontend",  AgentError::LockHeld },
    { "lock is locked by another process",    AgentError::LockHeld },
    { "lock was locked by another process",   AgentError::LockHeld },
    { "but remove is disabled",               AgentError::WouldRemove },
    { "would have to be removed",             AgentError::WouldRemove },
    { "unmet dependencies",                   AgentError::DependencyError },
    { "you have held broken packages",        AgentError::DependencyError },
    { "Unable to locate package",             AgentError::UnknownProduct },
    { "Couldn't find package",                AgentError::UnknownProduct },
    { "Couldn't find any package",            AgentError::UnknownProduct },
    { "has no installation candidate",        AgentError::UnknownProduct },
    { "was not found",                        AgentError::UnknownProduct },
    { "Failed to fetch",                      AgentError::DownloadFailed },
    { "The download has stalled",             AgentError::DownloadFailed },
    { "Unable to fetch some archives",        AgentError::DownloadFailed },
    { "Unable to start apt-get",              AgentError::PackageToolsMissing },
    { "Unable to run apt-get",                AgentError::PackageToolsMissing },
};
// clang-format on

constexpr std::size_t mostLines = 40;

bool Has(const std::string& line, const char* text)
{
    return line.find(text) != std::string::npos;
}

const std::string* LineWith(const AptGetMessages& lines, const char* text)
{
    const auto found = std::find_if(lines.begin(), lines.end(),
                                    [text](const std::string& line) { return Has(line, text); });
    return found == lines.end() ? nullptr : &*found;
}

// The most useful line: the one that names a failed package script, or else the first
// error.
const std::string* ErrorOf(const AptGetMessages& lines)
{
    if (const std::string* line = LineWith(lines, "script subprocess returned error"))
        return line;
    const auto found = std::find_if(lines.begin(), lines.end(), [](const std::string& line) {
        return line.compare(0, 2, "E:") == 0;
    });
    return found == lines.end() ? nullptr : &*found;
}

// "E: Sub-process ..." without its mark; dpkg's lines without the blank before them.
QString PlainError(const std::string& line)
{
    const bool marked = line.compare(0, 3, "E: ") == 0 || line.compare(0, 3, "W: ") == 0;
    return QString::fromStdString(marked ? line.substr(3) : line).trimmed();
}

} // namespace

FailureReason Reason(AgentError::Code code, const QString& details)
{
    return { code, AgentError::Sentence(code), details };
}

QString LinesAsText(const AptGetMessages& lines)
{
    QString text;
    const std::size_t from = lines.size() > mostLines ? lines.size() - mostLines : 0;
    for (std::size_t i = from; i < lines.size(); ++i)
        text += (i > from ? QStringLiteral("\n") : QString()) + QString::fromStdString(lines[i]);
    return text;
}

FailureReason ReasonOfFailure(const AptGetMessages& lines)
{
    for (const Sign& sign : signs) {
        const std::string* line = LineWith(lines, sign.text);
        if (!line)
            continue;
        FailureReason reason = Reason(sign.code, LinesAsText(lines));
        if (sign.code == AgentError::UnknownProduct)
            reason.sentence += QLatin1Char(' ') + PlainError(*line) + QLatin1Char('.');
        return reason;
    }
    FailureReason reason = Reason(AgentError::PackageToolsFailed, LinesAsText(lines));
    const std::string* error = ErrorOf(lines);
    if (error)
        reason.sentence += QLatin1Char(' ') + PlainError(*error) + QLatin1Char('.');
    return reason;
}

FailureReason ReasonOfNoFiles(const AptGetMessages& lines)
{
    if (LineWith(lines, "is already the newest version")
        || LineWith(lines, "0 upgraded, 0 newly installed"))
        return Reason(AgentError::NothingToDo, LinesAsText(lines));
    return { AgentError::PackageToolsFailed,
             Translated("The package tools of the system named no file to download."),
             LinesAsText(lines) };
}

} // namespace Agent
