// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A product is opened by the program that its package has brought, whether the store is there or
// not; and its use is noted.

#include "db/crufile.h"
#include "host/openjob.h"
#include "host/packagejobs.h"
#include "host/storejobs.h"
#include "store/indexfile.h"
#include "tests/common/statusfile.h"
#include "tests/host/storemachine.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

using namespace Pakmart;

namespace
{

constexpr int lander = 1001;
const QString program = QStringLiteral("/usr/games/starlander");

struct End {
    Error::Code code = Error::NoError;
    QString sentence, details, program;
    bool isRecorded = false;
    int results = 0;
};

} // namespace

class OpenJobTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<StoreMachine> m_machine;
    QString mark() const { return m_machine->dir + QStringLiteral("/mark"); }

    static Error::Code runToItsEnd(Job* job)
    {
        job->setAutoDelete(false);
        QSignalSpy ends(job, SIGNAL(result(KJob*)));
        job->start();
        const bool hasEnded = ends.wait(120000);
        const Error::Code code = hasEnded ? job->errorCode() : Error::Other;
        job->deleteLater();
        return code;
    }
    static End open(int serial, const std::function<void(OpenJob*)>& begun = {})
    {
        auto* const job = new OpenJob(serial);
        job->setAutoDelete(false);
        QSignalSpy ends(job, SIGNAL(result(KJob*)));
        job->start();
        if (begun)
            begun(job);
        if (!QTest::qWaitFor([&ends] { return !ends.isEmpty(); }, 60000))
            qWarning("the job has no end");
        QTest::qWait(50); // a second result would come now
        const End end{ job->errorCode(), job->errorString(), job->details(),
                       job->program(),   job->isRecorded(),  int(ends.size()) };
        delete job;
        return end;
    }
    // Changes the record of Star Lander; 0 as the time of its last use is long ago.
    static bool record(const QByteArray& path)
    {
        if (InitIndex() != 0)
            return false;
        bool isDone = false;
        {
            CRUFile list;
            isDone = list.Open() && list.FindServerSerialNumber(lander);
            list.SetExecutablePath(path.constData());
            list.SetLastAccessed(1);
            isDone = isDone && list.Update() && list.Close();
        }
        UnInitIndex();
        return isDone;
    }
    static int lastUse()
    {
        int time = -1;
        if (InitIndex() != 0)
            return time;
        {
            CRUFile list;
            if (list.Open() && list.FindServerSerialNumber(lander))
                time = list.LastAccessed();
        }
        UnInitIndex();
        return time;
    }
    // A program that leaves a mark, in the place of a file of the machine.
    bool replace(const QString& path, const QByteArray& interpreter = "/bin/sh") const
    {
        QFile file(m_machine->root + path);
        return QDir().mkpath(QFileInfo(file.fileName()).path()) && file.open(QIODevice::WriteOnly)
            && file.write("#!" + interpreter + "\npwd > '" + mark().toLocal8Bit() + "'\n") > 0
            && file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner
                                   | QFileDevice::ExeOwner);
    }

private slots:
    void initTestCase()
    {
        m_machine = std::make_unique<StoreMachine>();
        QVERIFY(m_machine->setUp());
        QVERIFY(m_machine->serve());
        QCOMPARE(runToItsEnd(new RefreshCatalogJob), Error::NoError);
        QCOMPARE(runToItsEnd(InstallJob::ofProducts({ lander })), Error::NoError);
        // What is here is opened without the store.
        QVERIFY(m_machine->endServer());
    }
    void init()
    {
        QFile::remove(mark());
        QVERIFY(replace(program));
        QVERIFY(record(program.toLatin1()));
    }

    void aProgramIsStartedAndNoted()
    {
        const QDateTime before = QDateTime::currentDateTime();
        const End end = open(lander);
        QCOMPARE(end.sentence, QString());
        QCOMPARE(end.code, Error::NoError);
        QCOMPARE(end.program, program);
        QCOMPARE(end.results, 1);
        QVERIFY(end.isRecorded);
        QVERIFY(lastUse() >= before.toSecsSinceEpoch());
        QTRY_VERIFY(QFile::exists(mark()));
        QTRY_COMPARE(m_machine->contents(mark()).trimmed(), QDir::homePath().toLocal8Bit());
    }

    void whatIsNotThePackagesProgramIsNotStarted_data()
    {
        QTest::addColumn<int>("serial");
        QTest::addColumn<QByteArray>("path");
        QTest::addColumn<QByteArray>("words"); // of dpkg's status
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("sentence");
        const QByteArray sound = "install ok installed", own = program.toLatin1();
        QTest::newRow("of no package")
            << lander << QByteArray("/usr/bin/other") << sound << int(Error::NoProgram)
            << "The package starlander has no program /usr/bin/other.";
        QTest::newRow("in a roundabout way")
            << lander << QByteArray("/usr/games/../games/starlander") << sound
            << int(Error::NoProgram)
            << "The package starlander has no program /usr/games/../games/starlander.";
        QTest::newRow("a path that hides")
            << lander << QByteArray("/usr/bin/other\x1b[8m") << sound << int(Error::NoProgram)
            << "The package starlander has no program "
               "/usr/bin/other [8m.";
        QTest::newRow("without a path") << lander << QByteArray() << sound << int(Error::NoProgram)
                                        << Error::sentence(Error::NoProgram);
        QTest::newRow("never installed")
            << 1002 << own << sound << int(Error::NotInstalled) << "mazerunner is not installed.";
        QTest::newRow("not in the catalog")
            << 4711 << own << sound << int(Error::UnknownProduct)
            << "The catalog does not have this product, so its package is not known.";
        QTest::newRow("removed") << lander << own << QByteArray("deinstall ok config-files")
                                 << int(Error::NotInstalled) << "starlander is not installed.";
    }
    void whatIsNotThePackagesProgramIsNotStarted()
    {
        QFETCH(int, serial);
        QFETCH(QByteArray, path);
        QFETCH(QByteArray, words);
        QFETCH(int, code);
        QFETCH(QString, sentence);
        const QByteArray before = StatusText();
        SetStatusWords("starlander", words);
        QVERIFY(replace(QStringLiteral("/usr/bin/other")));
        QVERIFY(record(path));
        const End end = open(serial);
        WriteStatusFile(before);
        QCOMPARE(end.sentence, sentence);
        QCOMPARE(int(end.code), code);
        QCOMPARE(end.program, QString());
        QCOMPARE(end.results, 1);
        QVERIFY(!end.isRecorded);
        QCOMPARE(lastUse(), 1);
        QVERIFY(!QFile::exists(mark()));
    }

    void aProgramThatCannotBeStartedIsReported()
    {
        QVERIFY(replace(program, "/nowhere/sh"));
        const End end = open(lander);
        QCOMPARE(end.code, Error::NoProgram);
        QCOMPARE(end.sentence, QStringLiteral("The program %1 cannot be started.").arg(program));
        QVERIFY(!end.details.isEmpty());
        QCOMPARE(end.program, QString());
        QCOMPARE(lastUse(), 1);
    }

    void aListThatCannotBeWrittenIsNoFailure()
    {
        QVERIFY(InitIndex() == 0);
        {
            CRUFile list; // sets the paths
        }
        UnInitIndex();
        const QString index = QFile::decodeName(CRUFile::RUDATAIDX1.c_str());
        QVERIFY(QFile::rename(index, index + QStringLiteral(".away")));
        QVERIFY(QDir().mkpath(index)); // a folder in the place of the file
        const End end = open(lander);
        QVERIFY(QDir().rmdir(index));
        QVERIFY(QFile::rename(index + QStringLiteral(".away"), index));
        QCOMPARE(end.code, Error::NoError);
        QCOMPARE(end.program, program);
        QVERIFY(!end.isRecorded);
        QTRY_VERIFY(QFile::exists(mark()));
    }

    void whatIsEndedBeforeIsNotStarted_data()
    {
        QTest::addColumn<bool>("isKilled");
        QTest::newRow("cancelled") << false;
        QTest::newRow("killed") << true;
    }
    void whatIsEndedBeforeIsNotStarted()
    {
        QFETCH(bool, isKilled);
        const End end = open(lander, [isKilled](OpenJob* job) {
            if (isKilled)
                job->kill(KJob::EmitResult);
            else
                job->cancel();
        });
        QCOMPARE(int(end.code), int(Error::Cancelled));
        QCOMPARE(end.results, 1);
        QTest::qWait(300);
        QVERIFY(!QFile::exists(mark()));
        QCOMPARE(lastUse(), 1);
    }
    void aDeletedJobStartsNothing()
    {
        auto* const job = new OpenJob(lander);
        job->start();
        delete job;
        QTest::qWait(500);
        QVERIFY(!QFile::exists(mark()));
    }
};

QTEST_GUILESS_MAIN(OpenJobTest)
#include "tst_openjob.moc"
