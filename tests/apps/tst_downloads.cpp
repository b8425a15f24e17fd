// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Downloads that go wrong: what the person reads, what is installed (nothing), and that the same
// command works afterwards. On narrow and dumb terminals, in German and in the C locale, the
// sentences are the same.

#include "story.h"
#include "tests/common/locales.h"

#include <QProcessEnvironment>

class DownloadsTest : public QObject, private Story
{
    Q_OBJECT

private:
    QString m_archive; // the package's file in the store
    QByteArray m_bytes;

    // A locale for LOCPATH. The machine need not have it.
    void makeLocale(const QString& name) const
    {
        if (!name.contains(QLatin1Char('.')))
            return;
        QVERIFY(MakeLocale(m_dir, name));
        QProcess program; // which takes it
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("LOCPATH"), m_dir);
        environment.insert(QStringLiteral("LC_ALL"), name);
        program.setProcessEnvironment(environment);
        program.start(QStringLiteral("locale"), { QStringLiteral("mon") });
        QVERIFY(program.waitForFinished());
        QVERIFY(program.readAllStandardOutput().startsWith("Januar;"));
    }
    static Result inEnvironment(const QStringList& variables, const char* words)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const QString& one : variables)
            environment.insert(one.section(QLatin1Char('='), 0, 0),
                               one.section(QLatin1Char('='), 1));
        QProcess process;
        process.setProcessEnvironment(environment);
        start(process, words);
        return resultOf(process);
    }

private slots:
    void initTestCase()
    {
        begin({ { "app", "1.0", "", 20000 } });
        QCOMPARE(pakmart("update").status, 0);
        QCOMPARE(pakmart("update-sources").status, 0);
        const QDir pool(m_store + QStringLiteral("/pool/main"));
        m_archive = pool.filePath(pool.entryList({ QStringLiteral("*.deb") }).value(0));
        QFile file(m_archive);
        QVERIFY(file.open(QIODevice::ReadOnly));
        m_bytes = file.readAll();
        QVERIFY(m_bytes.size() > 1000);
    }
    void cleanupTestCase() { end(); }

    void aFailedDownloadInstallsNothing_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("sentence");
        const auto row = [](const char* name, const QByteArray& file, const char* sentence) {
            QTest::newRow(name) << file << sentence;
        };
        QByteArray other = m_bytes;
        other[other.size() / 2] = char(other[other.size() / 2] + 1);
        const char* const damaged
            = "A downloaded package is damaged, or is not the one that was expected.";
        row("other bytes", other, damaged);
        row("cut", m_bytes.left(m_bytes.size() / 2), damaged);
        row("longer", m_bytes + "more", damaged);
        row("missing", QByteArray(), "A package could not be downloaded.");
    }
    void aFailedDownloadInstallsNothing()
    {
        QFETCH(QByteArray, file);
        QFETCH(QString, sentence);
        QVERIFY(file.isEmpty() ? QFile::remove(m_archive) : WriteTextFile(m_archive, file));
        forgetArchives();
        const QByteArray before = StatusText();
        const Result result = pakmart("install --yes app");
        const Result forPrograms = pakmart("install --yes --json app");
        QVERIFY(WriteTextFile(m_archive, m_bytes));
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.startsWith(QLatin1String("pakmart: ") + sentence),
                 qPrintable(seen(result.out + result.err)));
        QVERIFY2(!result.out.contains(QLatin1String("is installed")),
                 qPrintable(seen(result.out + result.err)));
        QCOMPARE(forPrograms.json()[QStringLiteral("sentence")].toString().left(sentence.size()),
                 sentence);
        QCOMPARE(StatusText(), before);
        QCOMPARE(pakmart("install --yes app").status, 0);
        QCOMPARE(pakmart("remove --yes app").status, 0);
    }

    void localesAndTerminalsSeeTheSame_data()
    {
        QTest::addColumn<QStringList>("variables");
        const QString locale = QStringLiteral("LC_ALL=");
        QTest::newRow("C") << QStringList{ locale + QLatin1Char('C') };
        const QString locales = QStringLiteral("LOCPATH=") + m_dir;
        for (const char* name : { "de_DE.UTF-8", "de_DE.ISO-8859-1" })
            QTest::newRow(name) << QStringList{ locale + QLatin1String(name), locales,
                                                QStringLiteral("LANGUAGE=de") };
        QTest::newRow("dumb") << QStringList{ QStringLiteral("TERM=dumb") };
        QTest::newRow("no bus") << QStringList{ QStringLiteral(
            "DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent") };
    }
    void localesAndTerminalsSeeTheSame()
    {
        QFETCH(QStringList, variables);
        makeLocale(variables.first().section(QLatin1Char('='), 1));
        const Result usual = pakmart("install --dry-run app");
        QCOMPARE(usual.status, 0);
        QVERIFY2(usual.out.startsWith(QLatin1String("To be installed:\n  app  1.0\n")),
                 qPrintable(usual.out));
        const Result here = inEnvironment(variables, "install --dry-run app");
        QCOMPARE(seen(here.out + here.err), seen(usual.out + usual.err));
        QCOMPARE(inEnvironment(variables, "install --yes nosuch").err,
                 pakmart("install --yes nosuch").err);
    }

    void fortyColumnsAreEnough()
    {
        const QString wide = pakmart("install --dry-run app").out;
        const Result narrow
            = inEnvironment({ QStringLiteral("COLUMNS=40") }, "install --dry-run app");
        for (const QString& line : narrow.out.split(QLatin1Char('\n')))
            QVERIFY2(line.size() <= 40, qPrintable(line));
        QCOMPARE(narrow.out.simplified(), wide.simplified());
    }
};

QTEST_GUILESS_MAIN(DownloadsTest)
#include "tst_downloads.moc"
