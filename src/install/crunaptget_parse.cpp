// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Turns the lines of the package front end into facts and signals.

#include "install/crunaptget_p.h"

#include "base/text.h"
#include "install/frontendchild.h"
#include "support/ctracer.h"
#include "util/desktop.h"
#include "util/eventwait.h"
#include "util/standardoutput.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>

using namespace Agent;

namespace
{

// Events are processed after this number of bytes even if none of them is kept.
constexpr int pumpEvery = 4096;

bool IsWhite(char c)
{
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

// The text of an "E:" or "W:" line: what follows the colon and one separator.
const char* ErrorText(const char* line, int length)
{
    return length > 3 ? line + 3 : "";
}

} // namespace

// Reads a line byte by byte and processes events in between, so that the host stays
// responsive even in a long line. Control characters are dropped, for example a carriage
// return before the line end. False at the end of the stream; the buffer may then contain a
// last line without a line end.
bool CRunAptGet::readLine(char* buffer, int size, FILE* stream, int& length)
{
    length = 0;
    int c;
    for (int dropped = 0;; ++dropped) {
        c = NextByte(stream);
        // If the buffer is full, the character just read is lost; the rest of the line
        // is read as the next line.
        if (c == EOF || c == '\n' || length == size - 1)
            break;
        if (length % 10 == 0 || dropped % pumpEvery == 0)
            ProcessMessages();
        if (c > 0x1F)
            buffer[length++] = char(c);
    }
    buffer[length] = '\0';
    return c != EOF;
}

// An interrupted read, or one without data yet, is not the end of the stream.
int CRunAptGet::NextByte(FILE* stream)
{
    while (true) {
        const int c = std::fgetc(stream);
        if (c != EOF || std::feof(stream) || (errno != EINTR && errno != EAGAIN))
            return c;
        const bool empty = errno == EAGAIN;
        std::clearerr(stream);
        if (empty && !AwaitOutput(stream))
            return EOF;
    }
}

bool CRunAptGet::AwaitOutput(FILE* stream)
{
    if (d->m_pChild && d->m_pChild->Output() == stream)
        return d->m_pChild->AwaitOutput();
    while (!PassEvents(fileno(stream))) { }
    return true;
}

// There are two kinds of lines. Some begin a block, a list of packages or an error, which
// continues on indented lines; the two flags remember between calls which block is open. All
// others are complete in themselves, and are only looked at outside an error.
void CRunAptGet::parseLine(char* line, int length, bool& inPackageList, bool& inErrorBlock)
{
    CTracer tracer("CRunAptGet::parseLine");
    if (d->m_bEcho)
        WriteLine(std::string(line));
    d->m_messages.emplace_back(line);
    FollowProgress(line);
    ClassifyBlock(line, length, inPackageList, inErrorBlock);
    if (!inErrorBlock && ClassifyProgress(line, length))
        inPackageList = false;
}

// Detects the point from which the run cannot be cancelled any more, because dpkg has begun
// to work, and waits for locks.
void CRunAptGet::FollowProgress(const char* line)
{
    static const char* const dpkgWorks[]
        = { "Selecting previously", "(Reading database", "Preparing to unpack", "Unpacking ",
            "Setting up",           "Removing ",         "Preconfiguring" };
    if (std::any_of(std::begin(dpkgWorks), std::end(dpkgWorks),
                    [line](const char* prefix) { return BeginsWith(line, prefix); }))
        d->m_bCanCancel = false;
    else if (BeginsWith(line, "Waiting for the package lock")
             || BeginsWith(line, "Waiting for cache lock"))
        emit signalWaitingFor(line);
}

// Lists of package names and errors continue over several lines.
void CRunAptGet::ClassifyBlock(char* line, int length, bool& inPackageList, bool& inErrorBlock)
{
    if (BeginsWith(line, "The following") && !BeginsWith(line, "The following information")) {
        inPackageList = true;
    } else if (inPackageList) {
        if (*line == ' ')
            GetPackageNames(line, length);
        else
            inPackageList = false;
    } else if (BeginsWith(line, "E:")) {
        if (BeginsWith(ErrorText(line, length), "Couldn't find package") && !d->m_bRetryPending) {
            d->m_bRetryPending = true;
            return;
        }
        inErrorBlock = true;
        d->m_bErrorSeen = true;
        d->m_errors.emplace_back(ErrorText(line, length));
    } else if (BeginsWith(line, "W:")) {
        inErrorBlock = true;
        d->m_errors.emplace_back(ErrorText(line, length));
    } else if (inErrorBlock) {
        if (*line == ' ')
            d->m_errors.emplace_back(line);
        else
            inErrorBlock = false;
    }
}

// Handles the lines that report progress. False for any other line.
bool CRunAptGet::ClassifyProgress(char* line, int length)
{
    if (BeginsWith(line, "Need to get ")) {
        emit signalReceivedPackageNames(d->m_packages);
        GetTotalBytes(line, length);
    } else if (BeginsWith(line, "Get:")) {
        GetReceivedPackageInfo(line, length);
    } else if (BeginsWith(line, "Setting up")) {
        GetSetupInfo(line, length);
    } else if (BeginsWith(line, "Sorry,")) {
        emit signalReceivedPackageNames(d->m_packages);
        emit signalBeginReceivePackage(std::string(), std::string());
        emit signalEndReceivePackage(std::string());
        emit signalBeginInstall(std::string());
    } else if (*line == '\'') {
        GetPackageFiles(line);
    } else if (std::strstr(line, "%]") || std::strstr(line, "% [")) {
        Pulse(line, length);
    } else {
        return false;
    }
    return true;
}

void CRunAptGet::SkipWhite(char** cursor)
{
    while (**cursor && IsWhite(**cursor))
        ++*cursor;
}

void CRunAptGet::SkipNonWhite(char** cursor)
{
    while (**cursor && !IsWhite(**cursor))
        ++*cursor;
}

void CRunAptGet::GetPackageNames(char* line, int)
{
    CTracer tracer("CRunAptGet::GetPackageNames");
    char* cursor = line;
    SkipWhite(&cursor);
    while (char* blank = std::strchr(cursor, ' ')) {
        *blank = '\0';
        d->m_packages[cursor] = "0";
        cursor = blank + 1;
        SkipWhite(&cursor);
    }
    if (*cursor && !IsWhite(*cursor))
        d->m_packages[cursor] = "0";
}

void CRunAptGet::GetTotalBytes(char* line, int)
{
    CTracer tracer("CRunAptGet::GetTotalBytes");
    char* cursor = line + std::strlen("Need to get ");
    SkipWhite(&cursor);
    const char* size = cursor;
    SkipNonWhite(&cursor);
    *cursor = '\0';
    if (*size)
        d->m_sTotalSize = size;
    emit signalReceivedTotalBytes(d->m_sTotalSize);
}

// A "Get:" line begins a download, and so ends the previous one:
// "Get:1 http://host/repo ./. libhp 1.0-1 [716B]".
void CRunAptGet::GetReceivedPackageInfo(char* line, int)
{
    CTracer tracer("CRunAptGet::GetReceivedPackageInfo");
    if (!d->m_sCurrentPackage.empty())
        emit signalEndReceivePackage(d->m_sCurrentPackage);
    char* cursor = line;
    // Cuts off the field at the cursor, and moves the cursor after it.
    const auto takeField = [this, &cursor] {
        char* field = cursor;
        SkipNonWhite(&cursor);
        if (*cursor)
            *cursor++ = '\0';
        SkipWhite(&cursor);
        return field;
    };
    takeField(); // "Get:3"
    takeField(); // the site
    takeField(); // the section of the distribution
    const std::string name = takeField();
    takeField(); // the version
    if (*cursor == '[')
        ++cursor;
    const std::string size(cursor, std::strcspn(cursor, " ]"));
    if (!name.empty() && !size.empty())
        d->m_packages[name] = size;
    emit signalBeginReceivePackage(name, size);
    d->m_sCurrentPackage = name;
}

void CRunAptGet::GetSetupInfo(char* line, int)
{
    CTracer tracer("CRunAptGet::GetSetupInfo");
    emit signalEndReceivePackage(d->m_sCurrentPackage);
    char* cursor = line + std::strlen("Setting up");
    SkipWhite(&cursor);
    const char* name = cursor;
    SkipNonWhite(&cursor);
    emit signalBeginInstall(std::string(name, std::size_t(cursor - name)));
}

void CRunAptGet::GetPackageFiles(char* line)
{
    CTracer tracer("CRunAptGet::GetPackageFiles");
    const char* slash = std::strrchr(line, '/');
    std::string name = slash ? slash + 1 : line;
    // Without a closing apostrophe the text stays whole.
    name.resize(std::min(name.find('\''), name.size()));
    d->m_packageFiles.push_back(name);
}

// A line like "45% [2 libfoo 18%]": the first number is the overall progress, the last one
// that of the current item.
void CRunAptGet::Pulse(char* line, int)
{
    CTracer tracer("CRunAptGet::Pulse");
    const int overall = std::atoi(line);
    int item = 0;
    if (const char* bracket = std::strchr(line, ']')) {
        const char* from = bracket;
        while (from > line && from[-1] != ' ')
            --from;
        item = std::atoi(from);
    }
    emit signalPackagePulse(item, overall);
}
