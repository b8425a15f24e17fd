// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Terminals of 40 columns, and ones without a cursor: what is on the screen after a preview, a
// refusal and a list, line by line.

#include "story.h"
#include "terminal.h"

class SmallTerminalsTest : public QObject, Story
{
    Q_OBJECT

private:
    // The rows that stay on the screen. The program ends with `status`.
    static QStringList rowsOf(const QByteArray& words, int columns, const char* kind, int status,
                              const char* answer = nullptr)
    {
        Terminal terminal(PAKMART, words.split(' '), columns, kind);
        if (answer && terminal.awaits("[y/N] "))
            terminal.type(answer);
        const int ended = terminal.end();
        const QByteArray written = terminal.written();
        if (ended != status || (qstrcmp(kind, "dumb") == 0 && written.contains('\x1b')))
            return { QString::number(ended), QString::fromUtf8(written) };
        QStringList rows = terminal.screen().rows();
        while (!rows.isEmpty() && rows.last().isEmpty())
            rows.removeLast();
        return rows;
    }

private slots:
    void initTestCase()
    {
        begin({ { "library-of-the-longest-name-that-fits" },
                { "app", "1.0", "library-of-the-longest-name-that-fits" } });
        QCOMPARE(pakmart("update").status, 0);
        QCOMPARE(pakmart("update-sources").status, 0);
    }
    void cleanupTestCase() { end(); }

    void theScreenHasTheSameWords_data()
    {
        QTest::addColumn<int>("columns");
        QTest::addColumn<QByteArray>("kind");
        for (const char* kind : { "xterm", "dumb" })
            for (const int columns : { 40, 80 })
                QTest::newRow(
                    qPrintable(QStringLiteral("%1 %2").arg(QLatin1String(kind)).arg(columns)))
                    << columns << QByteArray(kind);
    }
    void theScreenHasTheSameWords()
    {
        QFETCH(int, columns);
        QFETCH(QByteArray, kind);
        const char* const on = kind.constData();
        const bool isNarrow = columns == 40;
        QStringList preview = rowsOf("install app", columns, on, 3, "n\n");
        preview.replaceInStrings(QRegularExpression(QStringLiteral("[0-9.]+ KiB")),
                                 QStringLiteral("SIZE"));
        const QStringList narrow{
            "To be installed:",      "  app  1.0",        "  library-of-the-longest-name-that-fits",
            "  1.0 needed by app",   "To download: SIZE", "Download and install? [y/N] n",
            "Nothing was installed."
        };
        const QStringList wide{ "To be installed:",
                                "  app                                    1.0",
                                "  library-of-the-longest-name-that-fits  1.0  needed by app",
                                "To download: SIZE",
                                "Download and install? [y/N] n",
                                "Nothing was installed." };
        QCOMPARE(preview, isNarrow ? narrow : wide);
        QCOMPARE(rowsOf("install nosuch", columns, on, 1),
                 (QStringList{
                     "pakmart: The package is in no package source. Unable to locate package "
                     "nosuch.",
                     "  E: Unable to locate package nosuch",
                     "pakmart: 'pakmart search' finds products, 'pakmart update-sources' fetches "
                     "the current lists of packages" }));
        QCOMPARE(rowsOf("list Games", columns, on, 0),
                 (QStringList{ "     2  The app: d",
                               isNarrow ? QStringLiteral("     1  The library-of-the-longest-name…")
                                        : QStringLiteral("     1  The library-of-the-longest-name-"
                                                         "that-fits: d") }));
    }
};

QTEST_GUILESS_MAIN(SmallTerminalsTest)
#include "tst_smallterminals.moc"
