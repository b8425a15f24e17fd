// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Who may read a reply file, and when abandoned ones are removed.

#include "catalog/capidownloadappinfo.h"
#include "request/spoolfile.h"
#include "requests.h"
#include "tests/common/processes.h"

#include <QDir>
#include <QtTest>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <fcntl.h>
#include <functional>
#include <optional>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

using namespace Agent;

// The next calls that open a new file fail as if interrupted by a signal. This replaces
// the C library's function in this program.
static int g_interruptions = 0;
static std::function<void(const char*)> g_made; // called with the next new file

extern "C" int open(const char* name, int flags, ...)
{
    va_list more;
    va_start(more, flags);
    const int mode = (flags & (O_CREAT | O_TMPFILE)) ? va_arg(more, int) : 0;
    va_end(more);
    if ((flags & O_EXCL) && g_interruptions > 0) {
        --g_interruptions;
        errno = EINTR;
        return -1;
    }
    const int fd = openat(AT_FDCWD, name, flags, mode);
    if ((flags & O_EXCL) && g_made)
        std::exchange(g_made, nullptr)(name);
    return fd;
}

namespace
{

QString Folder()
{
    return QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT")) + QStringLiteral("/tmp/");
}

bool IsThere(const std::string& name)
{
    struct stat info = {};
    return lstat(name.c_str(), &info) == 0;
}

int Mode(const std::string& name)
{
    struct stat info = {};
    return stat(name.c_str(), &info) == 0 ? int(info.st_mode & 07777) : -1;
}

// Makes a file in the folder with these permissions, which nobody has locked.
std::string Lay(const char* name, mode_t mode = 0600)
{
    QFile file(Folder() + QLatin1String(name));
    if (!file.open(QIODevice::WriteOnly) || fchmod(file.handle(), mode) != 0)
        qFatal("cannot lay a file");
    return file.fileName().toStdString();
}

} // namespace

class SpoolFileTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;

    // The first request of the process fetches the directory.
    void serveDirectory()
    {
        Setting("agent api url", m_server.url("/api").toStdString());
        m_server.answer("/api",
                        Directory({ { "TestRequest", m_server.url("/t") },
                                    { "CAPIDownloadAppInfo", m_server.url("/t") } }));
    }

private slots:
    void cleanup()
    {
        for (const QString& name : QDir(Folder()).entryList(QDir::Files | QDir::System))
            QFile::remove(Folder() + name);
    }

    void isForItsOwnerAloneUnderAnyMask()
    {
        for (const mode_t mask : { 0, 022, 0177, 0777 }) {
            SpoolFile file;
            const mode_t before = umask(mask);
            const std::string name = file.Make();
            umask(before);
            QCOMPARE(Mode(name), 0600);
            QCOMPARE(file.Error(), 0);
        }
    }

    void anInterruptedCallIsMadeAgain()
    {
        SpoolFile first, second;
        const std::string before = first.Make();
        g_interruptions = 3;
        const std::string name = second.Make();
        QCOMPARE(g_interruptions, 0);
        QCOMPARE(second.Error(), 0);
        QCOMPARE(Mode(name), 0600);
        // No number is skipped.
        const auto number = [](const std::string& file) {
            return QString::fromStdString(file)
                .section(QLatin1Char('_'), -1)
                .remove(QStringLiteral(".xml"))
                .toInt();
        };
        QCOMPARE(number(name), number(before) + 1);
    }

    void aRequestWhoseReplyFileIsInterruptedSucceeds()
    {
        serveDirectory();
        m_server.answer("/t",
                        ScriptedServer::http("<agentfunction resultcode=\"OK\">x</agentfunction>"));
        TestRequest::Record record;
        g_interruptions = 5;
        QVERIFY((new TestRequest(record))->Execute());
        QCOMPARE(g_interruptions, 0);
        QCOMPARE(record.failures, QStringList());
        QVERIFY(record.events.contains(QStringLiteral("ok x")));
    }

    void aFileThatIsHeldIsNotRemoved()
    {
        std::string name;
        {
            SpoolFile file;
            name = file.Make();
            SpoolFile::RemoveAbandoned();
            QVERIFY(IsThere(name));
        }
        SpoolFile::RemoveAbandoned();
        QVERIFY(!IsThere(name));
    }

    void aFileOfAKilledProcessIsRemovedByTheNext()
    {
        int ready[2];
        QCOMPARE(pipe(ready), 0);
        const pid_t child = fork();
        if (child == 0) {
            EndWithParent();
            SpoolFile file;
            const std::string name = file.Make() + '\n';
            if (write(ready[1], name.data(), name.size()) == ssize_t(name.size()))
                pause();
            _exit(1);
        }
        char text[4096] = {};
        QVERIFY(read(ready[0], text, sizeof text - 1) > 0);
        close(ready[0]);
        close(ready[1]);
        const std::string name = QByteArray(text).trimmed().toStdString();
        SpoolFile::RemoveAbandoned();
        const bool held = IsThere(name);
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        QVERIFY(held);
        SpoolFile::RemoveAbandoned();
        QVERIFY(!IsThere(name));
    }

    // For a moment the new file exists and is not locked.
    void aNewFileThatAnotherProcessTakesForAbandonedIsMadeAgain()
    {
        std::string taken;
        g_made = [&](const char* name) {
            taken = name;
            SpoolFile::RemoveAbandoned();
        };
        SpoolFile file;
        const std::string name = file.Make();
        QVERIFY(!IsThere(taken));
        QVERIFY(name != taken);
        QVERIFY(IsThere(name));
        SpoolFile::RemoveAbandoned();
        QVERIFY(IsThere(name));
    }
    void aNewFileThatAnotherProcessIsAboutToRemoveIsMadeAgain()
    {
        std::string taken;
        int other = -1;
        g_made = [&](const char* name) {
            taken = name;
            other = open(name, O_RDONLY);
            QCOMPARE(flock(other, LOCK_EX | LOCK_NB), 0);
        };
        SpoolFile file;
        const std::string name = file.Make();
        QVERIFY(name != taken);
        QCOMPARE(Mode(name), 0600);
        close(other);
        SpoolFile::RemoveAbandoned();
        QVERIFY(!IsThere(taken));
        QVERIFY(IsThere(name));
    }

    void whatMayBeSomebodyElsesStays()
    {
        const std::string gone = Lay("100_1.xml");
        std::vector<std::string> kept;
        for (const char* name : { "100.xml", "_1.xml", "100_.xml", "100_1.xml.bak", "a100_1.xml",
                                  "100_1_1.xml", "100_1.txt" })
            kept.push_back(Lay(name));
        kept.push_back(Lay("100_2.xml", 0644)); // not made by this library
        kept.push_back(Lay("100_3.xml", 0200));
        kept.push_back(Lay("100_4.xml"));
        QFile::link(QString::fromStdString(kept.back()), Folder() + QStringLiteral("100_5.xml"));
        kept.push_back((Folder() + QStringLiteral("100_5.xml")).toStdString());
        const std::string second = (Folder() + QStringLiteral("100_6.xml")).toStdString();
        QCOMPARE(link(kept[9].c_str(), second.c_str()), 0); // a second link
        const std::string pipe = (Folder() + QStringLiteral("100_7.xml")).toStdString();
        QCOMPARE(mkfifo(pipe.c_str(), 0600), 0);
        const std::string folder = (Folder() + QStringLiteral("100_8.xml")).toStdString();
        QCOMPARE(mkdir(folder.c_str(), 0600), 0);
        if (geteuid() == 0) {
            kept.push_back(Lay("100_9.xml"));
            QCOMPARE(chown(kept.back().c_str(), 1234, 1234), 0);
        }
        SpoolFile::RemoveAbandoned();
        QVERIFY(!IsThere(gone));
        for (const std::string& name : kept)
            QVERIFY2(IsThere(name), name.c_str());
        QVERIFY(IsThere(second));
        QVERIFY(IsThere(pipe));
        QVERIFY(IsThere(folder));
        QCOMPARE(rmdir(folder.c_str()), 0);
    }

    void filesThatTheSettingsKeepStay()
    {
        const std::string name = Lay("100_1.xml");
        Setting("keep agent xml", "1");
        SpoolFile::RemoveAbandoned();
        QVERIFY(IsThere(name));
        Setting("keep agent xml", "0");
        SpoolFile::RemoveAbandoned();
        QVERIFY(!IsThere(name));
    }

    void theFirstRequestOfAProcessRemovesThem()
    {
        // In a child process, since this process has made its first file already.
        const std::string name = Lay("100_1.xml");
        const pid_t child = fork();
        if (child == 0) {
            execl("/proc/self/exe", "tst_spoolfile", "makesAFile", nullptr);
            _exit(127);
        }
        int status = -1;
        QCOMPARE(waitpid(child, &status, 0), child);
        QCOMPARE(status, 0);
        QVERIFY(!IsThere(name));
    }
    void makesAFile()
    {
        SpoolFile file;
        QVERIFY(IsThere(file.Make()));
    }

    void aFileLeftToTheCallerIsHeldUntilItIsRemoved()
    {
        serveDirectory();
        m_server.answer("/t", ScriptedServer::http("<agentfunction resultcode=\"OK\"/>"));
        const auto descriptors = [] {
            return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::System | QDir::Files);
        };
        QString name;
        std::vector<long> ids;
        int before = 0;
        for (int i = 0; i < 5; ++i) {
            auto* request = new CAPIDownloadAppInfo(ids, true);
            QObject::connect(request, &CAPI::APIDestinationFile, this,
                             [&name](const QFile& file) { name = file.fileName(); });
            QSignalSpy end(request, &CAPI::APIComplete);
            QVERIFY(request->Execute());
            QTRY_COMPARE_WITH_TIMEOUT(end.size(), 1, 60000);
            SpoolFile::RemoveAbandoned();
            QVERIFY(QFile::exists(name));
            QCOMPARE(Mode(name.toStdString()), 0600);
            QVERIFY(QFile::remove(name));
            if (i == 1)
                before = descriptors().size();
        }
        QVERIFY(descriptors().size() <= before + 1);
    }

    void veryManyLeftFilesAreNotAllHeld()
    {
        std::vector<std::string> names;
        for (std::size_t i = 0; i < SpoolFile::maxLeft + 2; ++i) {
            SpoolFile file;
            names.push_back(file.Make());
            file.Leave();
        }
        SpoolFile::RemoveAbandoned();
        const auto there = std::count_if(names.begin(), names.end(), IsThere);
        QCOMPARE(std::size_t(there), SpoolFile::maxLeft);
        QVERIFY(!IsThere(names.front()));
        QVERIFY(IsThere(names.back()));
    }
};

QTEST_MAIN(SpoolFileTest)
#include "tst_spoolfile.moc"
