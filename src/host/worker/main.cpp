// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The worker of the jobs for hosts: a process that runs one request to the store server, or one
// other task, and ends. The request classes process events while they wait and work; here
// nobody minds, and the host's own event loop is never entered from within. A task that is
// killed leaves nothing half-written, since all files are replaced in one step.
//
//     store-worker TASK [WORD...]
//
// The host stops a task by closing its standard input. What is reported is in report.h.

#include "host/worker/tasks.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSocketNotifier>
#include <QThread>
#include <algorithm>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <langinfo.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vantrelagent/catalog/savedtree.h>
#include <vantrelagent/request/capi.h>

namespace
{

struct Task {
    const char* name;
    Outcome (*run)(const QStringList& words, Report& report);
    bool canBeStopped; // its standard input has nothing but its end
};

const Task tasks[] = {
    { "refresh-catalog", RefreshCatalog, true },
    { "refresh-sources", RefreshSources, true },
    { "check-sources", CheckSources, true },
    { "aisles", FetchAisles, true },
    { "pictures", FetchPictures, true },
    { "sync", SyncMachine, true },
    { "register", RegisterMachine, true },
    { "products", FetchProducts, true },
    { "packages-of", FetchPackagesOf, true },
    { "record", RecordProducts, false },
    { "note-use", NoteUse, false },
    { "updates", FetchUpdates, true },
    { "note-update", NoteUpdate, false },
    { "rebuild-catalog", RebuildCatalog, true },
    { "repair-recent", RepairRecent, true },
    { "inhibit", InhibitShutdown, true },
};

bool stopped = false;
QEventLoop* waiting = nullptr; // for the stop

// Qt 6 warns about a locale that is not UTF-8, here and in KIO's processes, and standard error
// is the host's. Texts are UTF-8 in every locale.
void UseUtf8()
{
    std::setlocale(LC_ALL, "");
    if (std::strcmp(nl_langinfo(CODESET), "UTF-8") != 0)
        setenv("LC_ALL", "C.UTF-8", 1);
}

// KIO takes one piece of a reply out of its queue in a pass of the event loop, however many have
// come in with it, and the cost of the queue grows with the square of its length. So what is posted
// is sent many times in a pass, and hardly anything stays in the queue.
void EmptyQueues()
{
    constexpr int most = 256; // what a socket holds is less
    const auto send = [] {
        for (int i = 0; i < most; ++i)
            QCoreApplication::sendPostedEvents();
    };
    QObject::connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake, send);
}

// The waits of the requests pass events without a rest, which would take a whole core. An event
// loop that waits for events itself needs none.
void RestBetweenPasses()
{
    constexpr unsigned long rest = 200; // microseconds
    static bool waited = false;
    const QAbstractEventDispatcher* const events = QAbstractEventDispatcher::instance();
    QObject::connect(events, &QAbstractEventDispatcher::aboutToBlock, [] { waited = true; });
    QObject::connect(events, &QAbstractEventDispatcher::awake, [] {
        if (!std::exchange(waited, false))
            QThread::usleep(rest);
    });
}

} // namespace

bool IsStopped()
{
    return stopped;
}

void WaitForStop()
{
    QEventLoop loop;
    waiting = &loop;
    if (!stopped)
        loop.exec();
    waiting = nullptr;
}

QJsonObject ReadInput()
{
    QFile input;
    if (!input.open(stdin, QIODevice::ReadOnly))
        return QJsonObject();
    return QJsonDocument::fromJson(input.readLine()).object();
}

bool RunToItsEnd(CAPI* request, Outcome& outcome)
{
    QEventLoop loop;
    bool ended = false, succeeded = false;
    NoteFailure(request, outcome);
    QObject::connect(request, &CAPI::APIComplete, &loop, [&](bool ok) {
        ended = true;
        succeeded = ok;
        loop.quit();
    });
    if (request->Execute() && !ended)
        loop.exec();
    if (!succeeded && outcome.code == AgentError::NoFailure)
        outcome.code = AgentError::Other;
    return outcome.code == AgentError::NoFailure;
}

SavedMark::SavedMark(const char* name) : m_path(Agent::SavedTreePath(name)), m_before(mark()) { }

QByteArray SavedMark::mark() const
{
    struct stat info = {};
    if (stat(QFile::encodeName(m_path).constData(), &info) != 0)
        return QByteArray();
    return QByteArray::number(qulonglong(info.st_ino)) + ' '
        + QByteArray::number(qlonglong(info.st_mtim.tv_sec)) + ' '
        + QByteArray::number(qlonglong(info.st_mtim.tv_nsec));
}

Outcome SavedMark::failure() const
{
    Outcome outcome;
    outcome.code = AgentError::CannotWrite;
    outcome.details = m_path;
    const QByteArray folder = QFile::encodeName(QFileInfo(m_path).path());
    if (access(folder.constData(), W_OK) != 0)
        outcome.details += QLatin1String(": ") + qt_error_string(errno);
    return outcome;
}

int main(int argc, char** argv)
{
    // A terminal sends these to the host as well, which decides what to do.
    std::signal(SIGINT, SIG_IGN);
    std::signal(SIGHUP, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
    UseUtf8();
    Report report;
    const QCoreApplication application(argc, argv);
    const QStringList words = QCoreApplication::arguments();
    const auto task = std::find_if(std::begin(tasks), std::end(tasks), [&words](const Task& one) {
        return words.value(1) == QLatin1String(one.name);
    });
    if (task == std::end(tasks)) {
        std::fputs("store-worker: this program is started by the library\n", stderr);
        return 2;
    }
    RestBetweenPasses();
    EmptyQueues();
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    input.setEnabled(task->canBeStopped);
    QObject::connect(&input, &QSocketNotifier::activated, [&input] {
        input.setEnabled(false);
        stopped = true;
        CAPI::AbortTransfers();
        if (waiting)
            waiting->quit();
    });
    Outcome outcome = task->run(words.mid(2), report);
    if (outcome.code != AgentError::NoFailure && stopped)
        outcome.code = AgentError::Cancelled;
    report.end(outcome);
    return outcome.code == AgentError::NoFailure ? 0 : 1;
}
