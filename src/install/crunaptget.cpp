// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The commands that the runner starts, and their arguments.

#include "install/crunaptget_p.h"

#include "base/dpkgstatus.h"
#include "base/packagename.h"
#include "install/crun.h"
#include "install/failurereason.h"
#include "install/frontendchild.h"
#include "install/privatetree.h"
#include "request/capi.h"
#include "support/cconfigfile.h"
#include "support/ctracer.h"
#include "util/desktop.h"
#include "util/eventwait.h"
#include "util/loginstall.h"
#include "util/paths.h"
#include "util/standardoutput.h"

#include <QCursor>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QScopedValueRollback>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

using namespace Agent;

namespace
{

constexpr int notRun = 127;
constexpr int lineBuffer = 2048;

std::string FrontEnd()
{
    return SystemPath("/usr/bin/vos-apt-get");
}

QString ToQString(const std::string& path)
{
    return QFile::decodeName(path.c_str());
}

// Refuses to write to anything that others may have put in the file's place: a link, a
// file with a second name, a pipe that nobody reads.
FILE* OpenOwnFile(const std::string& name)
{
    const int flags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    const int fd = open(name.c_str(), flags, 0644);
    struct stat found = {};
    const bool own = fd >= 0 && fstat(fd, &found) == 0 && S_ISREG(found.st_mode)
        && found.st_uid == geteuid() && found.st_nlink == 1 && ftruncate(fd, 0) == 0;
    if (own)
        return fdopen(fd, "w");
    qCInfo(logInstall, "%s is not a file of our own, and is not written", name.c_str());
    if (fd >= 0)
        close(fd);
    return nullptr;
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

CRunAptGet::CRunAptGet() : d(std::make_unique<Private>()) { }

CRunAptGet::~CRunAptGet() = default;

void CRunAptGet::SetHasTree(bool hasTree)
{
    d->m_bHasTree = hasTree;
}

bool CRunAptGet::WasCancelled() const
{
    return d->m_bCancelled;
}

AgentError::Code CRunAptGet::Failure() const
{
    return d->m_nFailure;
}

QString CRunAptGet::FailureSentence() const
{
    return d->m_sFailure;
}

QString CRunAptGet::FailureDetails() const
{
    return d->m_sDetails;
}

void CRunAptGet::RefuseWhenBusy(bool refuse)
{
    d->m_bRefuseWhenBusy = refuse;
}

std::string CRunAptGet::TotalSize() const
{
    return d->m_sTotalSize;
}

int CRunAptGet::PackageCount() const
{
    return int(d->m_packages.size());
}

AptGetPackages CRunAptGet::Packages() const
{
    return d->m_packages;
}

PackageNameArray CRunAptGet::PackageFiles() const
{
    return d->m_packageFiles;
}

AptGetMessages CRunAptGet::Messages() const
{
    return d->m_messages;
}

AptGetMessages CRunAptGet::Errors() const
{
    return d->m_errors;
}

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
    CTracer tracer("CRunAptGet::Run");
    const WaitCursor cursor;
    d->m_bErrorSeen = false;
    d->m_nFailure = AgentError::NoFailure;
    if (!CanRun(action, packages))
        return notRun;
    TreeLock tree(m_sAptGetDir);
    // The repeated run is part of the first one.
    if (!isRetry) {
        d->m_bCancelled = false;
        d->m_bCanCancel = true;
        d->m_nRefreshFailure = AgentError::NoFailure;
        if (!d->m_bHasTree && !TakeTree(tree))
            return notRun;
    }
    int result = RunOnTree(action, packages, isRetry);
    BroadcastMenuChange();
    if (result == 0 && d->m_bErrorSeen)
        result = 1;
    JudgeRun(action, result);
    return result;
}

bool CRunAptGet::CanRun(char action, const std::string& packages)
{
    const bool known = action != '\0' && std::strchr("AIUDR", action);
    if (packages.empty() || !known)
        SetFailure(Reason(AgentError::Other));
    else if (HasFrontEnd() && !Refuse(packages))
        return true;
    qCInfo(logInstall, "the front end %s was not started for '%s'", FrontEnd().c_str(),
           packages.c_str());
    return false;
}

bool CRunAptGet::HasFrontEnd()
{
    if (access(FrontEnd().c_str(), X_OK) == 0)
        return true;
    SetFailure(Reason(AgentError::PackageToolsMissing, ToQString(FrontEnd())));
    return false;
}

void CRunAptGet::SetFailure(const FailureReason& reason)
{
    d->m_nFailure = reason.code;
    d->m_sFailure = reason.sentence;
    d->m_sDetails = reason.details;
}

// Why the run failed. If packages were not found, a failed refresh is the cause.
void CRunAptGet::JudgeRun(char action, int result)
{
    if (result == 0 || action == 'R')
        return;
    if (d->m_bCancelled) {
        SetFailure(Reason(AgentError::Cancelled));
        return;
    }
    FailureReason reason = ReasonOfFailure(d->m_messages);
    const bool follows = reason.code == AgentError::UnknownProduct
        || reason.code == AgentError::DependencyError
        || reason.code == AgentError::PackageToolsFailed;
    if (follows && d->m_nRefreshFailure != AgentError::NoFailure)
        reason = { d->m_nRefreshFailure, d->m_sRefreshFailure, reason.details };
    SetFailure(reason);
}

bool CRunAptGet::TakeTree(TreeLock& tree)
{
    const auto giveUp = [this] { return d->m_bCancelled || d->m_bRefuseWhenBusy; };
    const auto say = [this](const std::string& text) {
        if (!d->m_bRefuseWhenBusy)
            emit signalWaitingFor(text);
    };
    if (tree.Take(say, giveUp))
        return true;
    d->m_bCanCancel = false;
    if (d->m_bCancelled) {
        SetFailure(Reason(AgentError::Cancelled));
        return false;
    }
    d->m_errors.push_back(tree.BusyText());
    SetFailure({ AgentError::LockHeld, QString::fromStdString(tree.BusyText()), QString() });
    return false;
}

int CRunAptGet::RunOnTree(char action, const std::string& packages, bool isRetry)
{
    const TreeLock::Work work;
    const QScopedValueRollback<bool> inRun(d->m_bInRun, true);
    if (action != 'R')
        return RunPiped(action, packages, isRetry);
    RunRemove(packages);
    return 0;
}

// The outcome of a remove is not the result of the run, but it is reported.
void CRunAptGet::RunRemove(const std::string& packages)
{
    AptGetMessages lines;
    const bool done = RunUnparsed("-yp remove" + AptGetOptions(true) + ' ' + packages, lines);
    d->m_bCanCancel = false;
    if (!done && d->m_bCancelled)
        SetFailure(Reason(AgentError::Cancelled, LinesAsText(lines)));
    else if (!done && d->m_nFailure == AgentError::NoFailure)
        SetFailure(ReasonOfFailure(lines));
}

bool CRunAptGet::RefreshLists(bool deps)
{
    CTracer tracer("CRunAptGet::RefreshLists");
    d->m_nFailure = AgentError::NoFailure;
    d->m_bCancelled = false;
    if (!HasFrontEnd() || Refuse(std::string()))
        return false;
    TreeLock tree(m_sAptGetDir);
    d->m_bCanCancel = true;
    if (!d->m_bHasTree && !TakeTree(tree))
        return false;
    const TreeLock::Work work;
    SetRefreshPending(deps, true);
    AptGetMessages lines;
    const bool done = RunUnparsed("update" + AptGetOptions(deps), lines);
    d->m_bCanCancel = false;
    if (done)
        SetRefreshPending(deps, false);
    else if (d->m_bCancelled)
        SetFailure(Reason(AgentError::Cancelled));
    else if (d->m_nFailure == AgentError::NoFailure)
        SetFailure(Reason(AgentError::RefreshFailed, LinesAsText(lines)));
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(d->m_errors),
                 [](const std::string& line) { return line.compare(0, 2, "E:") == 0; });
    return done;
}

// The names reach a shell, and a tool to which some names mean more; the path of the
// tree reaches a shell.
bool CRunAptGet::Refuse(const std::string& packages)
{
    const std::string problem = TreeProblem(m_sAptGetDir);
    if (!problem.empty()) {
        d->m_errors.push_back(problem);
        SetFailure({ AgentError::BadHomeFolder, QString::fromStdString(problem), QString() });
        return true;
    }
    std::string name;
    bool refused = false;
    for (std::istringstream names(packages); std::getline(names, name, ' ');) {
        if (name.empty() || IsPackageWord(name))
            continue;
        d->m_errors.push_back("Refused the package name '" + name + "'");
        SetFailure(
            { AgentError::RefusedName, QString::fromStdString(d->m_errors.back()), QString() });
        refused = true;
    }
    return refused;
}

// One install, or listing of files ('D'), from beginning to end: lets dpkg finish what an
// earlier run left, refreshes the lists before a listing, runs the front end and parses its
// lines, and cleans up. If the front end did not find a package, the whole run is repeated
// once. Returns the wait status of the front end.
int CRunAptGet::RunPiped(char action, const std::string& packages, bool isRetry)
{
    const bool deps = action == 'D';
    FinishInterrupted(packages);
    if (deps)
        checkSources(true);
    if (d->m_bCancelled)
        return SIGTERM;
    const std::string command = FrontEnd() + (deps ? " -yp --print-uris install" : " -yp install")
        + AptGetOptions(deps) + ' ' + packages + " 2>&1";
    bool started = false;
    const int result = RunChild(command, started);
    if (!started)
        return 0;
    if (d->m_bRetryPending && !isRetry && !d->m_bCancelled)
        Run(action, packages, true, true);
    if (!isRetry)
        d->m_bRetryPending = false;
    d->m_bCanCancel = false;
    // A cancelled run leaves nothing to finish.
    if (!d->m_bCancelled || result == 0)
        ClearArchive();
    emit signalEndInstall(result == 0 && !d->m_bErrorSeen);
    return result;
}

// Runs the front end and returns its raw status. If it cannot be started, the run counts
// as one without output.
int CRunAptGet::RunChild(const std::string& command, bool& started)
{
    WriteLine("About to execute: |" + command + '|');
    std::fflush(stdin);
    std::fflush(stdout);
    std::fflush(stderr);
    FrontEndChild child;
    started = child.Start(command);
    if (!started) {
        d->m_bCanCancel = false;
        SetFailure(Reason(AgentError::PackageToolsMissing));
        return 0;
    }
    d->m_pChild = &child;
    ReadOutput(child.Output());
    const int result = child.Finish();
    d->m_pChild = nullptr;
    qCDebug(logInstall, "the front end has ended with wait status %d, %zu lines, %zu errors",
            result, d->m_messages.size(), d->m_errors.size());
    return result;
}

// Runs the front end without emitting its lines as signals; they also go to standard
// output. Returns whether it succeeded.
bool CRunAptGet::RunUnparsed(const std::string& arguments, AptGetMessages& lines)
{
    std::fflush(stdout);
    FrontEndChild child;
    if (!child.Start(FrontEnd() + ' ' + arguments + " 2>&1")) {
        SetFailure(Reason(AgentError::PackageToolsMissing));
        return false;
    }
    d->m_pChild = &child;
    char buffer[lineBuffer];
    int length = 0;
    for (bool more = true; more;) {
        more = readLine(buffer, lineBuffer, child.Output(), length);
        if (!more && length == 0)
            break;
        FollowProgress(buffer);
        WriteLine(std::string(buffer));
        lines.emplace_back(buffer);
    }
    const int result = child.Finish();
    d->m_pChild = nullptr;
    return result == 0;
}

void CRunAptGet::RunWaiting(const QString& program, const std::string& arguments)
{
    CRun(program, QString::fromStdString(arguments), true).Run();
}

bool CRunAptGet::CanCancel() const
{
    return d->m_bCanCancel;
}

bool CRunAptGet::Cancel()
{
    CTracer tracer("CRunAptGet::Cancel");
    if (!d->m_bCanCancel)
        return false;
    d->m_bCancelled = true;
    if (d->m_pSources)
        d->m_pSources->CancelTransfer();
    if (d->m_pRefresh)
        d->m_pRefresh->Terminate();
    if (d->m_pChild)
        d->m_pChild->Terminate();
    return true;
}

void CRunAptGet::ReadOutput(FILE* stream)
{
    d->m_bEcho = CConfigFile(SettingsFile(), false).GetLongValue("echo apt-get", 0) != 0;
    d->m_packages.clear();
    d->m_messages.clear();
    bool inPackageList = false;
    bool inErrorBlock = false;
    char buffer[lineBuffer];
    int length = 0;
    while (readLine(buffer, lineBuffer, stream, length))
        parseLine(buffer, length, inPackageList, inErrorBlock);
    if (length > 0)
        parseLine(buffer, length, inPackageList, inErrorBlock);
}

// Cleans the package cache and lets dpkg finish what is half-configured.
void CRunAptGet::ClearArchive()
{
    if (CConfigFile(SettingsFile(), false).GetLongValue("clear apt archive", 1) == 0)
        return;
    RunWaiting(ToQString(FrontEnd()), "clean " + AptGetOptions(false));
    ConfigurePending();
}

void CRunAptGet::ConfigurePending()
{
    RunWaiting(SystemPath(QStringLiteral("/usr/bin/dpkg")), "--configure -a");
}

// Finishes what a killed install left. apt-get changes nothing until dpkg has merged its
// journal, and it lists no file for a package that only has to be set up.
void CRunAptGet::FinishInterrupted(const std::string& packages)
{
    const DpkgStatus dpkg(SystemPath(std::string("/var/lib/dpkg")));
    bool isLeft = dpkg.WasInterrupted();
    std::string name;
    for (std::istringstream names(packages); !isLeft && names >> name;) {
        const PackageState state = dpkg.Of(name);
        isLeft = state.IsHalfWay() && state.status != "half-installed";
    }
    if (!isLeft)
        return;
    qCInfo(logInstall, "dpkg was interrupted, and finishes its work first");
    ConfigurePending();
}

bool CRunAptGet::CreateAptGetDirs()
{
    CTracer tracer("CRunAptGet::CreateAptGetDirs");
    const bool made[] = { CreateListsDir(false), CreateListsDir(true), CreateSourcesDir(false),
                          CreateSourcesDir(true) };
    return made[0] && made[1] && made[2] && made[3];
}

bool CRunAptGet::CreateListsDir(bool deps)
{
    CTracer tracer("CRunAptGet::CreateListsDir");
    return MkDir(ListsDir(deps) + "partial");
}

bool CRunAptGet::CreateSourcesDir(bool deps)
{
    CTracer tracer("CRunAptGet::CreateSourcesDir");
    const std::string file = SourcesFile(deps);
    const auto slash = file.rfind('/');
    return slash != std::string::npos && MkDir(file.substr(0, slash));
}

bool CRunAptGet::MkDir(const std::string& path)
{
    CTracer tracer("CRunAptGet::MkDir");
    // The runner splits its arguments at blanks, and would make other folders.
    if (path.find_first_of(" \"") == std::string::npos)
        CRun(QStringLiteral("/bin/mkdir"), QLatin1String("-p ") + ToQString(path), true).Run();
    int found = access(path.c_str(), F_OK);
    if (found != 0) {
        tracer.trace_out("access(" + path + ") = " + std::to_string(found) + " ["
                         + std::strerror(errno) + ']');
        PassEventsBeside(sync); // a slow disk takes seconds
        PassEventsFor(1000);
        found = access(path.c_str(), F_OK);
    }
    tracer.trace_out((found == 0 ? "successfully created " : "failed to create ") + path);
    return found == 0;
}

void CRunAptGet::writeFailedAptGetToFile()
{
    CTracer tracer("CRunAptGet::writeFailedAptGetToFile");
    FILE* file = OpenOwnFile(SystemPath("/tmp/apt-get.out"));
    if (!file)
        return;
    for (const std::string& line : d->m_messages)
        std::fprintf(file, "%s\n", line.c_str());
    std::fclose(file);
}
