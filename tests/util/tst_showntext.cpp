// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What stays of texts that somebody may have made to be read as others.

#include "util/showntext.h"

#include <QtTest>

class ShownTextTest : public QObject
{
    Q_OBJECT

private slots:
    void textsAreMadeHarmless_data()
    {
        QTest::addColumn<QString>("given");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("line");
        const auto row = [](const char* name, const QString& given, const QString& text,
                            const QString& line) { QTest::newRow(name) << given << text << line; };
        const QString plain = QStringLiteral("Möbius - 猫");
        row("plain", plain, plain, plain);
        row("empty", QString(), QString(), QString());
        row("lines", QStringLiteral(" a\n b"), QStringLiteral(" a\n b"), QStringLiteral("a b"));
        row("other ends of lines", QStringLiteral("a\r\nb\u2028c\u2029d\u0085e\fg"),
            QStringLiteral("a \nb c d e g"), QStringLiteral("a b c d e g"));
        row("controls", QStringLiteral("a\u001b[2J\u0001b\u007fc\u009bd\te"),
            QStringLiteral("a [2J b c d e"), QStringLiteral("a [2J b c d e"));
        row("directions", QStringLiteral("a\u202eexe.\u2066b\u2069\u200f\u200e\u061c\u202ac\ufeff"),
            QStringLiteral("aexe.bc"), QStringLiteral("aexe.bc"));
        // Scripts and pictures are joined with these.
        const QString joined = QStringLiteral("می\u200cخواهم \U0001F468\u200D\U0001F469");
        row("joiners", joined, joined, joined);
    }
    void textsAreMadeHarmless()
    {
        QFETCH(QString, given);
        QTEST(Agent::ShownText(given), "text");
        QTEST(Agent::ShownLine(given), "line");
    }
};

QTEST_GUILESS_MAIN(ShownTextTest)
#include "tst_showntext.moc"
