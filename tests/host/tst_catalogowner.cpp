// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The refresh of a catalog that belongs to another user: what the run of the owner's service
// reports, for every kind of end. The packages' tests try it with the real users.

#include "host/catalogowner.h"

#include <QJsonArray>
#include <QPointer>
#include <QTemporaryDir>
#include <QtTest>
#include <sys/stat.h>
#include <utime.h>

using Pakmart::Error;
using Pakmart::OwnerCommand;
using Pakmart::OwnerRun;

class CatalogOwnerTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    static OwnerCommand script(const QString& text, const QString& resultFile = QString())
    {
        return { QStringLiteral("/bin/sh"), { QStringLiteral("-c"), text }, resultFile };
    }
    // Runs a command to its end.
    static std::unique_ptr<OwnerRun> run(const OwnerCommand& command)
    {
        auto run = std::make_unique<OwnerRun>();
        QSignalSpy ends(run.get(), &OwnerRun::ended);
        run->start(command);
        [&ends] { QTRY_COMPARE_WITH_TIMEOUT(ends.count(), 1, 60000); }();
        return run;
    }
    QString file(const QByteArray& text) const
    {
        const QString path = m_dir.filePath(QStringLiteral("result"));
        QFile::remove(path);
        QFile made(path);
        return made.open(QIODevice::WriteOnly) && made.write(text) == text.size() ? path
                                                                                  : QString();
    }

private slots:
    void aProcessOfAPrivateRootDoesItItself()
    {
        QVERIFY(!qEnvironmentVariableIsEmpty("PAKMART_SYSROOT"));
        QVERIFY(!Pakmart::CommandOfCatalogOwner());
    }

    void theResultIsThatOfTheWorker_data()
    {
        QTest::addColumn<bool>("inFile");
        QTest::newRow("output") << false;
        QTest::newRow("file") << true;
    }
    void theResultIsThatOfTheWorker()
    {
        QFETCH(bool, inFile);
        const QByteArray text
            = R"({"products":9,"categories":2,"first":true,"new":[{"serial":7,"name":"Dice"}],)"
              R"("newCount":2000,"changed":[],"gone":[{"serial":8,"name":"Go"}]})";
        const auto ended = inFile
            ? run(script(QStringLiteral("true"), file(text)))
            : run(script(QStringLiteral("echo '%1'").arg(QString::fromUtf8(text))));
        QCOMPARE(ended->failure().code, Error::NoError);
        const QJsonObject result = ended->result();
        QCOMPARE(result[QStringLiteral("products")].toInt(), 9);
        QCOMPARE(result[QStringLiteral("first")].toBool(), true);
        const auto list = [&result](const char* name) { return result[QLatin1String(name)]; };
        QCOMPARE(list("added")[QStringLiteral("count")].toInt(), 2000);
        QCOMPARE(list("added")[QStringLiteral("products")]
                     .toArray()
                     .at(0)
                     .toObject()[QStringLiteral("name")]
                     .toString(),
                 QStringLiteral("Dice"));
        QCOMPARE(list("changed")[QStringLiteral("count")].toInt(), 0);
        QCOMPARE(list("gone")[QStringLiteral("count")].toInt(), 1);
    }

    void failuresAreThoseOfTheService_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("details");
        const auto row
            = [](const char* name, const char* text, const char* code, const char* details = "") {
                  QTest::newRow(name) << QString::fromLatin1(text) << QString::fromLatin1(code)
                                      << QString::fromLatin1(details);
              };
        row("named",
            R"(echo '{"code":"server-unreachable","sentence":"No.","details":"why"}'; exit 1)",
            "server-unreachable", "why");
        row("the first code", R"(echo '{"code":"cancelled","sentence":"No."}'; exit 1)",
            "cancelled");
        row("the last code", R"(echo '{"code":"reply-not-trusted","sentence":"No."}'; exit 1)",
            "reply-not-trusted");
        row("of another release", R"(echo '{"code":"new-one","sentence":"No."}'; exit 1)", "other");
        row("it could not be started", "echo 'Access denied' >&2; exit 4", "tools-missing",
            "Access denied");
        row("no result", "true", "tools-missing");
        row("no JSON", "echo products", "tools-missing");
        row("a result of a failure", R"(echo '{"products":9}'; exit 1)", "tools-missing");
        row("killed", "kill -9 $$", "tools-missing", "Process crashed");
    }
    void failuresAreThoseOfTheService()
    {
        QFETCH(QString, text);
        const auto ended = run(script(text));
        QTEST(Error::name(ended->failure().code), "code");
        QTEST(ended->details(), "details");
        QVERIFY(!ended->failure().sentence.isEmpty());
        QVERIFY(ended->result().isEmpty());
    }

    void aProgramThatIsMissingIsAFailure()
    {
        const auto ended = run({ QStringLiteral("/nowhere/systemctl"), {}, QString() });
        QCOMPARE(ended->failure().code, Error::ToolsMissing);
        QVERIFY(!ended->details().isEmpty());
    }

    // The file belongs to another user, who may put anything there.
    void noOtherFileIsTheResult_data()
    {
        QTest::addColumn<QString>("kind");
        for (const char* kind : { "none", "old", "link", "pipe" })
            QTest::newRow(kind) << QString::fromLatin1(kind);
    }
    void noOtherFileIsTheResult()
    {
        QFETCH(QString, kind);
        QString path = file("{\"products\":9}");
        QVERIFY(!path.isEmpty());
        if (kind == QLatin1String("old")) {
            const utimbuf old{ 1000, 1000 };
            QCOMPARE(utime(path.toLocal8Bit().constData(), &old), 0);
        } else if (kind == QLatin1String("link")) {
            QVERIFY(QFile::link(path, path + QStringLiteral(".link")));
            path += QStringLiteral(".link");
        } else {
            QVERIFY(QFile::remove(path));
            if (kind == QLatin1String("pipe"))
                QCOMPARE(mkfifo(path.toLocal8Bit().constData(), 0600), 0);
        }
        QCOMPARE(run(script(QStringLiteral("true"), path))->failure().code, Error::ToolsMissing);
        QFile::remove(path);
    }

    void aRunCanBeStopped()
    {
        OwnerRun run;
        run.stop(); // before there is anything to stop
        QSignalSpy ends(&run, &OwnerRun::ended);
        run.start(script(QStringLiteral("exec sleep 60")));
        QTest::qWait(50);
        run.stop();
        QTRY_COMPARE_WITH_TIMEOUT(ends.count(), 1, 30000);
    }

    // The destructor does not wait for the process.
    void aRunMayBeDeleted()
    {
        const auto processes
            = [] { return QCoreApplication::instance()->findChildren<QProcess*>().size(); };
        const QString begun = m_dir.filePath(QStringLiteral("begun"));
        auto run = std::make_unique<OwnerRun>();
        run->start(script(QStringLiteral("trap '' TERM; echo x > '%1'; sleep 2").arg(begun)));
        QTRY_VERIFY(QFile::exists(begun));
        run.reset();
        QCOMPARE(int(processes()), 1);
        QTRY_COMPARE_WITH_TIMEOUT(int(processes()), 0, 60000);
    }
    void aCommandEndsWithItsRun()
    {
        const auto processes
            = [] { return QCoreApplication::instance()->findChildren<QProcess*>().size(); };
        const QString begun = m_dir.filePath(QStringLiteral("begun2"));
        auto run = std::make_unique<OwnerRun>();
        run->start(script(QStringLiteral("echo x > '%1'; exec sleep 600").arg(begun)));
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(begun), 60000);
        run.reset();
        QTRY_COMPARE_WITH_TIMEOUT(int(processes()), 0, 60000);
    }
    void aRunMayBeLetGoInItsOwnSignal()
    {
        auto run = std::make_unique<OwnerRun>();
        const QPointer<OwnerRun> watched(run.get());
        int ends = 0;
        connect(run.get(), &OwnerRun::ended, this, [&] {
            ++ends;
            OwnerRun::letGo(std::move(run));
            QVERIFY(watched); // its signal is not over yet
        });
        run->start(script(QStringLiteral("true")));
        QTRY_VERIFY_WITH_TIMEOUT(watched.isNull(), 60000);
        QCOMPARE(ends, 1);
        OwnerRun::letGo(nullptr);
    }
};

QTEST_GUILESS_MAIN(CatalogOwnerTest)
#include "tst_catalogowner.moc"
