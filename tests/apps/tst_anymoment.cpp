// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A fault at any moment of a change: everything is killed before the k-th change of a file, or
// that change alone fails, as on a full disk, in whichever process. What pakmart says is then
// compared with dpkg's status, and the same command, or "pakmart repair" and the command, must
// reach the goal.
//
// The suite tries a few k of each story. All of them:
//
//     PAKMART_TEST_ROUNDS=all QTEST_FUNCTION_TIMEOUT=7200000 tests/in-sandbox .../tst_anymoment

#include "story.h"
#include "tests/common/cutrun.h"

#include <QRandomGenerator>

class AnyMomentTest : public QObject, private Story
{
    Q_OBJECT

private:
    QString m_copy; // of the machine before
    int m_tried = 0, m_wrong = 0, m_stuck = 0;

    static void copyMachine(const QString& from, const QString& to)
    {
        QCOMPARE(QProcess::execute(QStringLiteral("cp"), { QStringLiteral("-a"), from, to }), 0);
    }
    void restore() const
    {
        QVERIFY(QDir(m_root).removeRecursively());
        copyMachine(m_copy, m_root);
    }
    QString output() const { return m_dir + QStringLiteral("/said"); }
    QString said() const
    {
        QFile file(output());
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }
    // What dpkg should have: "app 2.0, lib 1.0".
    static QString stateOf(const QByteArrayList& packages)
    {
        const DpkgStatusText text{ StatusText() };
        QStringList list;
        for (const QByteArray& package : packages)
            list << QString::fromUtf8(package + ' ' + text.of(package));
        return list.join(QStringLiteral(", "));
    }
    // The words of dpkg and the version.
    struct DpkgStatusText {
        QByteArray text;

        QByteArray of(const QByteArray& package) const
        {
            for (const QByteArray& stanza :
                 QByteArray(text).replace("\n\n", "\x01").split('\x01')) {
                QByteArray words, version;
                bool isIt = false;
                for (const QByteArray& line : stanza.split('\n')) {
                    isIt = isIt || line == "Package: " + package;
                    if (line.startsWith("Status: "))
                        words = line.mid(8);
                    if (line.startsWith("Version: "))
                        version = line.mid(9);
                }
                if (isIt && !words.endsWith("not-installed") && !words.endsWith("config-files"))
                    return words + ' ' + version;
            }
            return "gone";
        }
    };
    // Success is said exactly if the goal is reached; a failure has its reason.
    bool isTrue(const CutRun& run, bool reached) const
    {
        if (run.status == 0)
            return reached;
        const bool silenced = QByteArray(run.last).contains("/said");
        return run.status < 0 || silenced || said().contains(QLatin1String("pakmart: "));
    }
    // Whether the same command, or a repair that is asked for and the command, reach it.
    static bool isLeft(const QByteArray& words, const std::function<bool()>& reached)
    {
        Result next = pakmart(words.constData());
        if (next.status != 0 && (next.out + next.err).contains(QLatin1String("pakmart repair"))) {
            pakmart("repair --yes");
            next = pakmart(words.constData());
        }
        if (next.status != 0 && !reached())
            qWarning("%s", qPrintable(next.out + next.err));
        return reached();
    }
    static int step(int changes)
    {
        const QString rounds = qEnvironmentVariable("PAKMART_TEST_ROUNDS", QStringLiteral("3"));
        return rounds == QLatin1String("all") ? 1 : std::max(1, changes / rounds.toInt());
    }

private slots:
    void initTestCase()
    {
        begin({ { "lib" }, { "app", "1.0", "lib" }, { "extra" } });
        QCOMPARE(pakmart("update").status, 0);
        QCOMPARE(pakmart("install --yes app").status, 0);
        // What "upgrade" finds, and "install" does not have yet.
        publish({ { "app", "2.0", "lib" } });
        QCOMPARE(pakmart("update-sources").status, 0);
        m_copy = m_dir + QStringLiteral("/copy");
        copyMachine(m_root, m_copy);
    }
    void cleanupTestCase()
    {
        qInfo("%d faults: %d wrong statements, %d stuck states", m_tried, m_wrong, m_stuck);
        end();
    }

    // dpkg was killed between unpacking and setting up, with nothing in its journal.
    void anUpgradeThatWasBrokenOffGoesOn()
    {
        restore();
        QCOMPARE(pakmart("upgrade --yes app").status, 0);
        SetStatusWords("app", "install ok unpacked");
        const Result result = pakmart("upgrade --yes app");
        QVERIFY2(result.status == 0, qPrintable(result.out + result.err));
        QCOMPARE(StatusWords("app"), QByteArray("install ok installed"));
    }

    void aFaultIsSaidAndHasAWayOut_data()
    {
        QTest::addColumn<QByteArray>("words");
        QTest::addColumn<QString>("goal");
        QTest::addColumn<bool>("killed");
        const auto row = [](const char* words, const char* goal) {
            QTest::addRow("%s, killed", words) << QByteArray(words) << goal << true;
            QTest::addRow("%s, refused", words) << QByteArray(words) << goal << false;
        };
        row("install --yes extra",
            "extra install ok installed 1.0, app install ok installed 1.0, "
            "lib install ok installed 1.0");
        row("upgrade --yes app",
            "extra gone, app install ok installed 2.0, lib install ok installed 1.0");
        row("reinstall --yes lib",
            "extra gone, app install ok installed 1.0, lib install ok installed 1.0");
        row("remove --yes app", "extra gone, app gone, lib install ok installed 1.0");
    }
    void aFaultIsSaidAndHasAWayOut()
    {
        QFETCH(QByteArray, words);
        QFETCH(QString, goal);
        QFETCH(bool, killed);
        const Killed how = killed ? Killed::All : Killed::None;
        const auto reached = [&goal] { return stateOf({ "extra", "app", "lib" }) == goal; };
        const QStringList command = QStringList(QStringLiteral(PAKMART))
            + QString::fromUtf8(words).split(QLatin1Char(' '));
        restore();
        const CutRun whole = RunCutAt(-1, how, command, output());
        if (!whole.traced) {
            QTest::qSkip("processes cannot be traced here", __FILE__, __LINE__);
            return;
        }
        QVERIFY2(whole.status == 0 && reached(), qPrintable(said()));
        const int distance = step(whole.changes);
        for (int k = QRandomGenerator::global()->bounded(distance); k < whole.changes;
             k += distance) {
            restore();
            const CutRun run = RunCutAt(k, how, command, output());
            QVERIFY2(!run.hung, run.last);
            ++m_tried;
            const bool honest = isTrue(run, reached());
            const QString text = said();
            m_wrong += honest ? 0 : 1;
            const bool left = isLeft(words, reached);
            m_stuck += left ? 0 : 1;
            if (!honest || !left)
                QTest::qFail(
                    qPrintable(QStringLiteral("change %1 of %2 (%3): %4, status %5\n%6\n%7")
                                   .arg(k)
                                   .arg(whole.changes)
                                   .arg(QString::fromUtf8(run.last),
                                        honest ? QStringLiteral("stuck") : QStringLiteral("wrong"))
                                   .arg(run.status)
                                   .arg(text, stateOf({ "extra", "app", "lib" }))),
                    __FILE__, __LINE__);
        }
    }
};

QTEST_GUILESS_MAIN(AnyMomentTest)
#include "tst_anymoment.moc"
