// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// pakmart in other languages: in one that the test makes, where a text that is not translated
// has no brackets, and in German. What programs read is the same in all of them.

#include "base/dpkgstatus.h"
#include "story.h"
#include "tests/common/locales.h"

#include <QProcessEnvironment>

class LanguagesTest : public QObject, private Story
{
    Q_OBJECT

private:
    const QString m_locale = QStringLiteral("en_US.UTF-8");
    QString m_pseudo; // the data folder of the test's own language

    using Variables = QMap<QString, QString>;

    static Result run(const Variables& variables, const QStringList& words,
                      const QByteArray& input = QByteArray())
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (auto at = variables.begin(); at != variables.end(); ++at)
            environment.insert(at.key(), at.value());
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(PAKMART), words);
        process.write(input);
        process.closeWriteChannel();
        return resultOf(process);
    }
    static QStringList split(const char* words)
    {
        return QString::fromUtf8(words).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    }
    // Texts in a language, and all else as in C. With C for texts as well, the C library of
    // Debian 13 translates nothing, whatever the language.
    Variables variables(const QString& folder, const char* language) const
    {
        return { { QStringLiteral("XDG_DATA_DIRS"), folder + QStringLiteral(":/usr/share") },
                 { QStringLiteral("LANGUAGE"), QLatin1String(language) },
                 { QStringLiteral("LC_ALL"), QString() },
                 { QStringLiteral("LANG"), QStringLiteral("C.UTF-8") },
                 { QStringLiteral("LC_MESSAGES"), m_locale },
                 { QStringLiteral("LOCPATH"), m_dir } };
    }
    Variables german() const { return variables(QStringLiteral(CATALOGS), "de"); }
    Result inGerman(const char* words, const QByteArray& input = QByteArray()) const
    {
        return run(german(), split(words), input);
    }
    // On a narrow terminal.
    Result inPseudo(const char* words, const QByteArray& input = QByteArray()) const
    {
        Variables all = variables(m_pseudo, "xx");
        all[QStringLiteral("COLUMNS")] = QStringLiteral("40");
        return run(all, split(words), input);
    }

    // What of a text is not translated, on one line. A text that was cut is reported.
    static QString untranslated(const QString& text)
    {
        QString rest;
        int depth = 0;
        for (const QChar c : text) {
            if (c == QChar(0xAB)) // "«"
                ++depth;
            else if (c == QChar(0xBB)) // "»"
                --depth;
            else if (depth == 0)
                rest += c;
            if (depth < 0)
                break;
        }
        return depth == 0 ? rest.simplified() : QStringLiteral("cut: ") + text;
    }
    static QString withoutChance(const QString& text)
    {
        static const QRegularExpression date(QStringLiteral("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d"));
        static const QRegularExpression size(QStringLiteral("\\d+\\.\\d+ KiB"));
        static const QRegularExpression architecture(QStringLiteral("(app|lib):[a-z0-9]+"));
        return seen(text)
            .replace(date, QStringLiteral("DATE"))
            .replace(size, QStringLiteral("SIZE"))
            .replace(architecture, QStringLiteral("\\1"));
    }
    void setProducts(int products, int categories) const
    {
        QByteArray text;
        for (int i = 1; i <= products; ++i)
            text += "Serial: " + QByteArray::number(100 + i) + "\nName: P\nCategory: C"
                + QByteArray::number(i % categories) + "\nPackage: p\nDescription: d\n\n";
        QVERIFY(write("products", text));
    }

private slots:
    void initTestCase()
    {
        begin({ { "lib" }, { "app", "1.0", "lib" }, { "good" } });
        m_pseudo = m_dir + QStringLiteral("/pseudo");
        QVERIFY(MakeLocale(m_dir, m_locale));
        for (const char* domain : { "pakmart", "libvantrelagent" }) {
            const QString from = QStringLiteral(TEMPLATES "/%1.pot").arg(QLatin1String(domain));
            const QString to = m_pseudo
                + QStringLiteral("/locale/xx/LC_MESSAGES/%1.mo").arg(QLatin1String(domain));
            QCOMPARE(QProcess::execute(QStringLiteral(PSEUDO), { from, to }), 0);
        }
    }
    void cleanupTestCase() { end(); }

    // Before anything is there.
    void complaintsAreTranslated_data()
    {
        QTest::addColumn<QString>("rest"); // of both outputs, after "pakmart:"
        const auto row = [](const char* words, const char* rest = "pakmart:") {
            QTest::newRow(words) << QString::fromUtf8(rest);
        };
        for (const char* words :
             { "frobnicate",      "--frobnicate",        "--frobnicate --other",
               "status --run",    "status --yes=1",      "status --dry-run",
               "recent --run=x",  "status --color=pink", "install --pictures= app",
               "install",         "status it",           "installed a b",
               "history make",    "history undo x",      "forget x",
               "help frobnicate", "list Games",          "list --installed",
               "show app",        "search app",          "recent --run=7",
               "forget 99",       "hold nosuch",         "depends nosuch",
               "status --nope" })
            row(words);
        row("", "pakmart:");
    }
    void complaintsAreTranslated()
    {
        QFETCH(QString, rest);
        const Result result = inPseudo(QTest::currentDataTag());
        QVERIFY(result.status == 1 || result.status == 2);
        QCOMPARE(result.out, QString());
        QCOMPARE(untranslated(result.err).remove(QStringLiteral(" pakmart:")), rest);
    }

    void helpIsTranslated_data()
    {
        QTest::addColumn<int>("least"); // texts
        QTest::newRow("help") << 40;
        QTest::newRow("help install") << 15;
        QTest::newRow("recent --help") << 10;
    }
    void helpIsTranslated()
    {
        QFETCH(int, least);
        const Result result = inPseudo(QTest::currentDataTag());
        QCOMPARE(result.status, 0);
        QCOMPARE(result.err, QString());
        QVERIFY(result.out.count(QChar(0xAB)) >= least);
        // Names, and the words for arguments.
        const QString rest = untranslated(result.out);
        static const QRegularExpression name(
            QStringLiteral("^(-[a-z],|(--)?[a-z]+(-[a-z]+)*|\\[?[A-Z]+(\\.\\.\\.)?\\]?|\\[undo)$"));
        for (const QString& word : rest.split(QLatin1Char(' ')))
            QVERIFY2(word.contains(name), qPrintable(rest));
    }
    void completionIsTranslated()
    {
        for (const QString& line :
             run(variables(m_pseudo, "xx"), { QStringLiteral("--complete"), QString() })
                 .out.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
            QVERIFY2(line.section(QLatin1Char('\t'), 1).startsWith(QChar(0xAB)), qPrintable(line));
    }

    // One visit, in this order. What is left is of the store, or of the package tools.
    void answersAreTranslated_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("rest"); // of both outputs
        QTest::addColumn<QByteArray>("input");
        const auto row
            = [](const char* words, int status, const char* rest = "", const char* input = "") {
                  QTest::newRow(words) << status << QString::fromUtf8(rest) << QByteArray(input);
              };
        row("update", 0);
        row("categories", 0, "3 Games");
        row("list Games", 0, "2 The app: d 3 The good: d 1 The lib: d");
        row("list --upgradable", 0);
        row("show app", 0, ": The app : 2 : app : 1.0 : : Games : SIZE : lib d");
        row("search nosuch", 0);
        row("install nosuch", 1,
            "pakmart: Unable to locate package nosuch. "
            "E: Unable to locate package nosuch pakmart:");
        row("install app", 3, "app 1.0 lib 1.0", "n\n");
        row("install --dry-run app", 0, "app 1.0 lib 1.0");
        row("install --yes app", 0, "app 1.0 lib 1.0");
        row("install  app", 0);
        row("list  Games", 0, "2 The app []: d 3 The good: d 1 The lib []: d");
        row("depends app", 0);
        row("depends lib", 0);
        row("why lib", 0);
        row("why app", 0);
        row("hold app", 0);
        row("unhold app", 0);
        row("installed nosuch", 0);
        row("history", 0, "1 DATE : app 1.0, lib 1.0");
        row("history undo 99", 1, "pakmart:");
        row("recent", 0);
        row("upgrade", 0);
        row("autoremove", 0);
        row("repair", 0);
        row("repair --check", 0);
        row("remove --yes lib", 1, "app 1.0 lib 1.0 pakmart:");
        row("remove lib", 3, "app 1.0 lib 1.0", "n\n");
        row("reinstall app", 3, "app 1.0", "n\n");
        row("os-update", 0);
        row("install --download-only good", 3, "good 1.0", "n\n");
        row("install --download-only --yes good", 0, "good 1.0");
        row("update-sources", 0);
        row("aisles", 0);
        row("sync", 0);
        row("status", 0);
        row("register", 0);
    }
    void answersAreTranslated()
    {
        QFETCH(int, status);
        QFETCH(QString, rest);
        QFETCH(QByteArray, input);
        const Result result = inPseudo(QTest::currentDataTag(), input);
        QCOMPARE(untranslated(withoutChance(result.out + result.err)), rest);
        QCOMPARE(result.status, status);
        QVERIFY(result.out.contains(QChar(0xAB)) || result.err.contains(QChar(0xAB))
                || !rest.isEmpty());
    }

    // Everything that programs read, with its sentences.
    void programsReadTheSameInAllLanguages_data()
    {
        QTest::addColumn<int>("status");
        const auto row = [](const char* words, int status) { QTest::newRow(words) << status; };
        row("list --json Games", 0);
        row("show --json app", 0);
        row("show --json nosuch", 1);
        row("install --json --dry-run good", 0);
        row("install --json --yes nosuch", 1);
        row("remove --json --yes lib", 1);
        row("remove --json app", 2);
        row("history --json", 0);
        row("recent --json --run=7000", 1);
        row("repair --json --check", 0);
    }
    void programsReadTheSameInAllLanguages()
    {
        QFETCH(int, status);
        const QStringList words = split(QTest::currentDataTag());
        const Result usual = run({}, words);
        Variables here = german();
        here[QStringLiteral("LC_ALL")] = QStringLiteral("de_DE.UTF-8");
        for (const Variables& one : { german(), here, variables(m_pseudo, "xx") }) {
            const Result result = run(one, words);
            QCOMPARE(result.out, usual.out);
            QCOMPARE(result.err, usual.err);
            QCOMPARE(result.status, status);
        }
    }

    // Its reason comes from the worker program.
    void aStoreThatIsAwayIsReportedInTheLanguageOfTheReader()
    {
        serverIs(QStringLiteral("http://127.0.0.1:9"));
        const Result shown = inGerman("update");
        const Result read = run(german(), split("update --json")),
                     usual = run({}, split("update --json"));
        serverIs(m_server->url());
        QVERIFY2(shown.err.contains(QStringLiteral("Der Server des Ladens ist nicht erreichbar.")),
                 qPrintable(shown.err));
        QCOMPARE(shown.status, 1);
        QCOMPARE(read.out, usual.out);
        QCOMPARE(read.err, usual.err);
        QVERIFY(usual.out.contains(QStringLiteral("cannot be reached")));
    }

    void nothingIsTranslatedInTheCLocale()
    {
        Variables here = german();
        here[QStringLiteral("LC_ALL")] = QStringLiteral("C");
        for (const char* words : { "help", "status --nope", "search nosuch", "remove app" }) {
            const Result usual = run({}, split(words), "n\n"),
                         result = run(here, split(words), "n\n");
            QCOMPARE(result.out, usual.out);
            QCOMPARE(result.err, usual.err);
            QCOMPARE(result.status, usual.status);
        }
    }

    void germanQuestionsTakeGermanAnswers_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<int>("status");
        QTest::newRow("n") << QByteArray("n\n") << 3;
        QTest::newRow("empty") << QByteArray("\n") << 3;
        QTest::newRow("end of input") << QByteArray() << 3;
        QTest::newRow("jain") << QByteArray("jain\n") << 3;
        QTest::newRow("j") << QByteArray("j\n") << 0;
        QTest::newRow("JA") << QByteArray(" JA \n") << 0;
        QTest::newRow("y") << QByteArray("y\n") << 0;
        QTest::newRow("yes") << QByteArray("yes\n") << 0;
    }
    void germanQuestionsTakeGermanAnswers()
    {
        QFETCH(QByteArray, answer);
        QFETCH(int, status);
        const auto isThere = [this] {
            const std::string folder = (m_root + QStringLiteral("/var/lib/dpkg")).toStdString();
            return Agent::DpkgStatus(folder).Of("good").IsInstalled();
        };
        const bool was = isThere();
        const Result result = inGerman(was ? "remove good" : "install good", answer);
        QCOMPARE(result.status, status);
        QVERIFY2(result.out.contains(was ? QLatin1String("Entfernen? [j/N] ")
                                         : QLatin1String("Herunterladen und installieren? [j/N] ")),
                 qPrintable(result.out));
        QCOMPARE(isThere(), was == (status != 0));
        QCOMPARE(result.out.contains(QLatin1String("Es wurde nichts ")), status != 0);
    }

    void datesAndSizesAreThoseOfTheCountry()
    {
        const auto matches = [](const Result& result, const char* pattern) {
            return QRegularExpression(QLatin1String(pattern)).match(result.out).hasMatch();
        };
        const Variables here{ { QStringLiteral("LC_ALL"), QStringLiteral("de_DE.UTF-8") } };
        const QStringList history{ QStringLiteral("history") };
        QVERIFY(matches(run(german(), history), "^  1  \\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d  "));
        QVERIFY(matches(run({}, history), "^  1  \\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d  "));
        QVERIFY(matches(run(here, history),
                        "^  1  \\d\\d\\.\\d\\d\\.(\\d\\d)?\\d\\d,? \\d\\d:\\d\\d  "));
        const QStringList show{ QStringLiteral("show"), QStringLiteral("app") };
        QVERIFY(matches(run({}, show), "Size: +\\d+\\.\\d+ KiB\n"));
        QVERIFY(matches(run(here, show), "Size: +\\d+,\\d+ KiB\n"));
    }

    void theLibrarySpeaksGerman()
    {
        const Result refused = inGerman("install --yes nosuch");
        QVERIFY2(
            refused.err.startsWith(QLatin1String("pakmart: Das Paket ist in keiner Paketquelle. ")),
            qPrintable(refused.err));
        const Result shown = inGerman("remove --dry-run lib");
        QVERIFY2(shown.out.contains(QString::fromUtf8("benötigt lib\n")), qPrintable(shown.out));
    }

    // A name of the store, or of the user, is never a pattern.
    void namesMayLookLikePlaces()
    {
        const Result result
            = run(german(), { QStringLiteral("show"), QStringLiteral("50%1 <b>%2&amp;") });
        QCOMPARE(result.status, 1);
        QCOMPARE(result.err,
                 QString::fromUtf8("pakmart: Es gibt kein Produkt mit dem Namen "
                                   "„50%1 <b>%2&amp;“\n"));
    }

    void germanHasItsPlurals_data()
    {
        QTest::addColumn<int>("products");
        QTest::addColumn<int>("categories");
        QTest::addColumn<QString>("sentence");
        const auto row = [](const char* name, int products, int categories, const char* sentence) {
            QTest::newRow(name) << products << categories << QString::fromUtf8(sentence);
        };
        row("1", 1, 1, "Der Katalog hat 1 Produkt in 1 Kategorie.");
        row("2", 2, 2, "Der Katalog hat 2 Produkte in 2 Kategorien.");
        row("5", 5, 1, "Der Katalog hat 5 Produkte in 1 Kategorie.");
        row("1200", 1200, 2, "Der Katalog hat 1200 Produkte in 2 Kategorien.");
        row("1 more", 1211, 2, "P (1310) und 1 weiteres");
        row("9 more", 1230, 2, "P (1321) und 9 weitere");
    }
    void germanHasItsPlurals()
    {
        QFETCH(int, products);
        QFETCH(int, categories);
        QFETCH(QString, sentence);
        setProducts(products, categories);
        const Result result = inGerman("update");
        QCOMPARE(result.status, 0);
        QVERIFY2(result.out.contains(sentence), qPrintable(result.out));
    }
};

QTEST_MAIN(LanguagesTest)
#include "tst_languages.moc"
