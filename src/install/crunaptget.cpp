// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What the runner starts, and with which words.

#include "install/crunaptget.h"

#include "install/crun.h"
#include "install/packagename.h"
#include "support/cconfigfile.h"
#include "support/ctracer.h"
#include "util/desktop.h"
#include "util/diagnostics.h"
#include "util/output.h"
#include "util/paths.h"

#include <QCursor>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sstream>
#include <unistd.h>

namespace
{

constexpr int NotRun = 127;
constexpr int LineBuffer = 2048;

std::string FrontEnd()
{
    return SystemPath("/usr/bin/vos-apt-get");
}

QString ToQString(const std::string& path)
{
    return QFile::decodeName(path.c_str());
}

// The wait cursor, as long as it lives.
class WaitCursor
{
public:
    WaitCursor()
    {
        if (m_gui)
            QGuiApplication::setOverrideCursor(Qt::WaitCursor);
    }
    ~WaitCursor()
    {
        if (m_gui)
            QGuiApplication::restoreOverrideCursor();
    }
    WaitCursor(const WaitCursor&) = delete;
    WaitCursor& operator=(const WaitCursor&) = delete;

private:
    const bool m_gui = qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr;
};

} // namespace

// Set when the library is loaded.
const std::string CRunAptGet::m_sAptGetDir
    = QFile::encodeName(QDir::homePath()).toStdString() + "/.vos-apt-get";
const std::string CRunAptGet::m_sListsDir = "/lists/";
const std::string CRunAptGet::m_sSourcesList = "/apt/vos-sources.list";

CRunAptGet::CRunAptGet() = default;

CRunAptGet::~CRunAptGet() = default;

std::string CRunAptGet::ListsDir(bool deps)
{
    return m_sAptGetDir + (deps ? "/deps" : "") + m_sListsDir;
}

std::string CRunAptGet::SourcesFile(bool deps)
{
    return m_sAptGetDir + (deps ? "/deps" : "") + m_sSourcesList;
}

std::string CRunAptGet::AptGetOptions(bool deps)
{
    return " -o Dir::Etc::Sourcelist=" + SourcesFile(deps)
        + " -o Dir::State::lists=" + ListsDir(deps);
}

int CRunAptGet::Run(char action, const std::string& packages, bool, bool isRetry)
{
    const WaitCursor cursor;
    m_bErrorSeen = false;
    const bool known = action != '\0' && std::strchr("AIUDR", action);
    if (packages.empty() || access(FrontEnd().c_str(), X_OK) != 0 || !known || Refuse(packages)) {
        qCInfo(logInstall, "the front end %s was not started for '%s'", FrontEnd().c_str(),
               packages.c_str());
        return NotRun;
    }
    int result = 0;
    if (action == 'R') {
        // How a remove ended is not taken over.
        const std::string arguments = "-yp remove" + AptGetOptions(true) + ' ' + packages;
        CRun(ToQString(FrontEnd()), QString::fromStdString(arguments), true).Run();
    } else {
        result = RunPiped(action, packages, isRetry);
    }
    BroadcastMenuChange();
    return result == 0 && m_bErrorSeen ? 1 : result;
}

// The names reach a shell and a tool that reads more into some of them.
bool CRunAptGet::Refuse(const std::string& packages)
{
    std::string name;
    bool refused = false;
    for (std::istringstream names(packages); std::getline(names, name, ' ');) {
        if (name.empty() || IsSafePackageName(name))
            continue;
        m_errors.push_back("Refused the package name '" + name + "'");
        refused = true;
    }
    return refused;
}

int CRunAptGet::RunPiped(char action, const std::string& packages, bool isRetry)
{
    const bool deps = action == 'D';
    if (deps)
        checkSources(true);
    const std::string command = FrontEnd() + (deps ? " -yp --print-uris install" : " -yp install")
        + AptGetOptions(deps) + ' ' + packages + " 2>&1";
    WriteLine("About to execute: |" + command + '|');
    std::fflush(stdin);
    std::fflush(stdout);
    std::fflush(stderr);
    FILE* stream = popen(command.c_str(), "r");
    if (!stream)
        return 0;
    ReadOutput(stream);
    const int result = pclose(stream);
    qCDebug(logInstall, "the front end has ended with wait status %d, %zu lines, %zu errors",
            result, m_messages.size(), m_errors.size());
    if (m_bRetryPending && !isRetry) {
        Run(action, packages, true, true);
        m_bRetryPending = false;
    }
    ClearArchive();
    emit signalEndInstall(result == 0 && !m_bErrorSeen);
    return result;
}

void CRunAptGet::ReadOutput(FILE* stream)
{
    m_bEcho = CConfigFile(SettingsFile(), false).GetLongValue("echo apt-get", 0) != 0;
    m_packages.clear();
    m_messages.clear();
    bool inPackageList = false;
    bool inErrorBlock = false;
    char buffer[LineBuffer];
    int length = 0;
    while (readLine(buffer, LineBuffer, stream, length))
        parseLine(buffer, length, inPackageList, inErrorBlock);
    if (length > 0)
        parseLine(buffer, length, inPackageList, inErrorBlock);
}

// Cleans the package cache and lets dpkg finish what is half-configured.
void CRunAptGet::ClearArchive()
{
    if (CConfigFile(SettingsFile(), false).GetLongValue("clear apt archive", 1) == 0)
        return;
    CRun(ToQString(FrontEnd()), QString::fromStdString("clean " + AptGetOptions(false)), true)
        .Run();
    CRun(SystemPath(QStringLiteral("/usr/bin/dpkg")), QStringLiteral("--configure -a"), true).Run();
}

bool CRunAptGet::CreateAptGetDirs()
{
    const bool made[] = { CreateListsDir(false), CreateListsDir(true), CreateSourcesDir(false),
                          CreateSourcesDir(true) };
    return made[0] && made[1] && made[2] && made[3];
}

bool CRunAptGet::CreateListsDir(bool deps)
{
    return MkDir(ListsDir(deps) + "partial");
}

bool CRunAptGet::CreateSourcesDir(bool deps)
{
    const std::string file = SourcesFile(deps);
    const auto slash = file.rfind('/');
    return slash != std::string::npos && MkDir(file.substr(0, slash));
}

bool CRunAptGet::MkDir(const std::string& path)
{
    CTracer tracer("CRunAptGet::MkDir");
    CRun(QStringLiteral("/bin/mkdir"), QLatin1String("-p ") + ToQString(path), true).Run();
    int found = access(path.c_str(), F_OK);
    if (found != 0) {
        tracer.trace_out("access(" + path + ") = " + std::to_string(found) + " ["
                         + std::strerror(errno) + ']');
        sync();
        sleep(1);
        found = access(path.c_str(), F_OK);
    }
    tracer.trace_out((found == 0 ? "successfully created " : "failed to create ") + path);
    return found == 0;
}

void CRunAptGet::writeFailedAptGetToFile()
{
    // Whoever may write to the folder may have put a link there: it is not followed.
    const std::string name = SystemPath("/tmp/apt-get.out");
    const int fd = open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644);
    FILE* file = fd >= 0 ? fdopen(fd, "w") : nullptr;
    if (!file)
        return;
    for (const std::string& line : m_messages)
        std::fprintf(file, "%s\n", line.c_str());
    std::fclose(file);
}
