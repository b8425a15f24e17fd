// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Files that are replaced in one step.

#include "base/wholefile.h"
#include "tests/common/filecalls.h"

#include <QTemporaryDir>
#include <QtTest>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Agent;

class WholeFileTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    mode_t m_mask = 0;

    std::string path(const char* name) const
    {
        return m_dir.filePath(QLatin1String(name)).toStdString();
    }
    static void write(const std::string& name, const QByteArray& text)
    {
        QFile file(QString::fromStdString(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
            qFatal("cannot write a test file");
    }
    static QByteArray read(const std::string& name)
    {
        QFile file(QString::fromStdString(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<unreadable>");
    }
    static mode_t modeOf(const std::string& name)
    {
        struct stat info = {};
        return stat(name.c_str(), &info) == 0 ? info.st_mode & 07777 : 0;
    }
    QStringList files() const
    {
        return QDir(m_dir.path()).entryList(QDir::Files | QDir::System | QDir::Hidden);
    }
    // Runs `what` as a user who owns nothing. Its result, or -1.
    template <class What> static int asNobody(const What& what)
    {
        const pid_t child = fork();
        if (child == 0)
            _exit(setgid(65534) == 0 && setuid(65534) == 0 ? what() : 99);
        int status = 0;
        return waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private slots:
    void initTestCase()
    {
        m_mask = umask(022);
        QVERIFY(chmod(m_dir.path().toLocal8Bit().constData(), 0755) == 0);
    }
    void init() { Calls::made.clear(); }
    void cleanup()
    {
        Calls::failing.clear();
        for (const QString& name : files())
            QFile::remove(m_dir.filePath(name));
    }
    void cleanupTestCase() { umask(m_mask); }

    void theTextIsOnTheDiskBeforeItIsInItsPlace()
    {
        QVERIFY(ReplaceFile(path("a"), "text", 0640));
        QCOMPARE(Calls::made, std::string("fsync rename fsync"));
        QCOMPARE(read(path("a")), QByteArray("text"));
        QCOMPARE(modeOf(path("a")), mode_t(0640));
        QCOMPARE(files(), QStringList(QStringLiteral("a")));
    }

    void aFailedStepLeavesTheOldFileAndNothingElse()
    {
        write(path("a"), "old");
        for (const char* call : { "fsync", "rename" }) {
            Calls::failing = call;
            QVERIFY(!ReplaceFile(path("a"), "new", 0644));
            QCOMPARE(errno, EIO);
            QCOMPARE(read(path("a")), QByteArray("old"));
            QCOMPARE(files(), QStringList(QStringLiteral("a")));
        }
    }

    void withoutACommitTheNewTextIsRemoved()
    {
        write(path("a"), "old");
        {
            FileReplacement file(path("a"), 0644);
            QVERIFY(file && file.Write("new"));
            FileReplacement moved(std::move(file));
            QVERIFY(moved && moved.Write(" and more"));
        }
        QCOMPARE(files(), QStringList(QStringLiteral("a")));
        QCOMPARE(read(path("a")), QByteArray("old"));
    }

    void aKilledProcessLeavesNothing()
    {
        const QByteArray folder = m_dir.path().toLocal8Bit();
        if (!Descriptor(open(folder.constData(), O_TMPFILE | O_WRONLY, 0600))) {
            // Not with the macro: clang warns about its empty arguments.
            QTest::qSkip("this file system has no files without a name", __FILE__, __LINE__);
            return;
        }
        write(path("a"), "old");
        const pid_t child = fork();
        if (child == 0) {
            FileReplacement file(path("a"), 0644);
            _exit(file.Write("new") ? 0 : 1);
        }
        int status = 1;
        QVERIFY(waitpid(child, &status, 0) == child && status == 0);
        QCOMPARE(files(), QStringList(QStringLiteral("a")));
        QCOMPARE(read(path("a")), QByteArray("old"));
    }

    void aNamedFileIsReplacedAndRemovedAsWell()
    {
        const QByteArray folder = m_dir.path().toLocal8Bit();
        const auto begin = [&folder] {
            return FileReplacement(Descriptor(open(folder.constData(), O_RDONLY | O_DIRECTORY)),
                                   "a", "a.new", 0644);
        };
        write(path("a"), "old");
        {
            FileReplacement dropped = begin();
            QVERIFY(dropped && dropped.Write("dropped"));
            QCOMPARE(files().size(), 2);
            QVERIFY(!begin()); // the name is taken
        }
        QCOMPARE(files(), QStringList(QStringLiteral("a")));
        FileReplacement kept = begin();
        QVERIFY(kept.Write("kept") && kept.Commit());
        QCOMPARE(files(), QStringList(QStringLiteral("a")));
        QCOMPARE(read(path("a")), QByteArray("kept"));
    }

    void aNewFileObeysTheMask()
    {
        umask(027);
        FileReplacement file(path("a"), 0644);
        QVERIFY(file.Write("text") && file.Commit());
        umask(022);
        QCOMPARE(modeOf(path("a")), mode_t(0640));
    }

    void aLinkIsReplacedUnlessItIsToBeFollowed()
    {
        write(path("target"), "old");
        QVERIFY(symlink("target", path("a").c_str()) == 0);
        FileReplacement through = FileReplacement::Following(path("a"), 0644);
        QVERIFY(through.Write("through") && through.Commit());
        QCOMPARE(read(path("target")), QByteArray("through"));
        QVERIFY(QFileInfo(m_dir.filePath(QStringLiteral("a"))).isSymLink());
        QVERIFY(ReplaceFile(path("a"), "itself", 0644));
        QCOMPARE(read(path("target")), QByteArray("through"));
        QVERIFY(!QFileInfo(m_dir.filePath(QStringLiteral("a"))).isSymLink());
    }

    void aFolderInItsPlaceIsLeft()
    {
        QVERIFY(QDir(m_dir.path()).mkdir(QStringLiteral("folder")));
        QVERIFY(!ReplaceFile(path("folder"), "text", 0644));
        QVERIFY(!FileReplacement(path("missing/a"), 0644));
        QCOMPARE(errno, ENOENT);
        QCOMPARE(files(), QStringList());
    }

    void aFileThatMayNotBeWrittenIsLeft()
    {
        if (getuid() != 0) {
            // Not with the macro: clang warns about its empty arguments.
            QTest::qSkip("needs root, to become somebody else", __FILE__, __LINE__);
            return;
        }
        write(path("a"), "old");
        QVERIFY(chmod(m_dir.path().toLocal8Bit().constData(), 0777) == 0);
        const int made
            = asNobody([this] { return bool(FileReplacement::Following(path("a"), 0644)); });
        QVERIFY(chmod(m_dir.path().toLocal8Bit().constData(), 0755) == 0);
        QCOMPARE(made, 0);
    }

    void inAFolderThatMayNotBeWrittenTheFileItselfIsRewritten()
    {
        if (getuid() != 0) {
            // Not with the macro: clang warns about its empty arguments.
            QTest::qSkip("needs root, to become somebody else", __FILE__, __LINE__);
            return;
        }
        write(path("a"), "a longer old text");
        QVERIFY(chmod(path("a").c_str(), 0666) == 0);
        const auto replace = [this](const char* name) {
            FileReplacement file = FileReplacement::Following(path(name), 0644);
            return file && file.Write("new") && file.Commit();
        };
        QCOMPARE(asNobody([&] { return int(replace("a")); }), 1);
        QCOMPARE(read(path("a")), QByteArray("new"));
        QCOMPARE(asNobody([&] { return int(replace("other")); }), 0);
        QCOMPARE(asNobody([this] { return int(ReplaceFile(path("a"), "no", 0644)); }), 0);
        QCOMPARE(files(), QStringList(QStringLiteral("a")));
    }
};

QTEST_GUILESS_MAIN(WholeFileTest)
#include "tst_wholefile.moc"
