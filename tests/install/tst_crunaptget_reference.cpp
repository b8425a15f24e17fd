// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Compares the parser of the front end's output with a simple one, on random outputs.
//
// The outputs differ in each run; PAKMART_TEST_SEED=N repeats those of seed N, which each
// run prints.

#include "comparewithreference.h"

#include <QRandomGenerator>
#include <QSet>
#include <QtTest>

class ReferenceTest : public QObject
{
    Q_OBJECT

private:
    static quint32 seed()
    {
        bool given = false;
        const quint32 seed = qEnvironmentVariable("PAKMART_TEST_SEED").toUInt(&given);
        return given ? seed : QRandomGenerator::global()->generate();
    }

    QRandomGenerator m_random;

    QByteArray any(const QList<QByteArray>& texts) { return texts[m_random.bounded(texts.size())]; }

    // Prefixes with a meaning, also truncated or changed a little.
    QByteArray beginning()
    {
        static const QList<QByteArray> beginnings{ "The following NEW packages:",
                                                   "The following",
                                                   "The following information",
                                                   "E:",
                                                   "E: ",
                                                   "E: Couldn't find package",
                                                   "E:x",
                                                   "W:",
                                                   "W: ",
                                                   " ",
                                                   "  ",
                                                   "Need to get ",
                                                   "Get:",
                                                   "Get:1 ",
                                                   "Get:1 http://h/r ./. ",
                                                   "Get:1 http://h/r ./. libhp 1.0-1 [",
                                                   "Setting up",
                                                   "Setting up ",
                                                   "Sorry,",
                                                   "'",
                                                   "'http://h/r/",
                                                   "45% [",
                                                   "45%]",
                                                   "100% ",
                                                   "" };
        QByteArray text = any(beginnings);
        if (m_random.bounded(10) == 0)
            text.chop(1);
        if (m_random.bounded(20) == 0)
            text.prepend(any({ " ", "x", "e", "\t", "\r" }));
        return text;
    }
    QByteArray line()
    {
        static const QList<QByteArray> pieces{ " ",
                                               "  ",
                                               "a",
                                               "libhp",
                                               "hpapp",
                                               "1.0-1",
                                               "[",
                                               "]",
                                               "[716B]",
                                               "%",
                                               "%]",
                                               "% [",
                                               "18%]",
                                               "12",
                                               "-3",
                                               "/",
                                               "'",
                                               "E:",
                                               "W:",
                                               "\t",
                                               "\r",
                                               "\x1b[",
                                               "\xc3\xa9",
                                               "\xff",
                                               "_1.2-3_i386.deb",
                                               "99999999999999999999" };
        QByteArray text = beginning();
        for (int n = m_random.bounded(9); n > 0; --n)
            text += any(pieces);
        // Sometimes around the maximum length of a line.
        if (m_random.bounded(200) == 0)
            text += QByteArray(2047 - text.size() + m_random.bounded(-4, 4), 'l') + any(pieces);
        return text;
    }
    QByteArray output()
    {
        QByteArray text;
        for (int n = m_random.bounded(12); n > 0; --n)
            text += line() + '\n';
        return text + (m_random.bounded(3) == 0 ? line() : QByteArray());
    }

private slots:
    void randomOutputsAreReadAlike()
    {
        const quint32 seed = this->seed();
        qInfo("PAKMART_TEST_SEED=%u", seed);
        m_random.seed(seed);
        QSet<QString> seen; // ensures that the outputs cause signals
        int errors = 0, files = 0, lines = 0;
        for (int round = 0; round < 20000; ++round) {
            const QByteArray text = output();
            const ParsedOutput parsed(text);
            const QString difference = DifferenceFromReference(parsed, text);
            QVERIFY2(difference.isEmpty(),
                     qPrintable(QStringLiteral("seed %1: ").arg(seed) + difference));
            for (const QString& event : parsed.events.list)
                seen.insert(event.section(QLatin1Char(' '), 0, 0));
            errors += parsed.errors().size();
            files += parsed.files().size();
            lines += parsed.messages().size();
        }
        QCOMPARE(seen,
                 (QSet<QString>{ QStringLiteral("names"), QStringLiteral("total"),
                                 QStringLiteral("get"), QStringLiteral("got"),
                                 QStringLiteral("setup"), QStringLiteral("pulse") }));
        QVERIFY(errors > 1000 && files > 1000 && lines > 50000);
    }
};

QTEST_MAIN(ReferenceTest)
#include "tst_crunaptget_reference.moc"
