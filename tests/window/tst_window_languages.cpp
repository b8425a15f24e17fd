// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The window in other languages: in German, and in two that the test makes, one of them written
// from right to left, where a text that is not translated has no brackets.

#include "tests/common/locales.h"
#include "tests/host/storemachine.h"
#include "tests/window/openwindow.h"

#include <KLocalizedString>
#include <Pakmart/RefreshCatalogJob>
#include <QAccessible>
#include <QScopeGuard>
#include <QSignalSpy>
#include <clocale>
#include <vantrelagent/db/catalogscan.h>

class WindowLanguagesTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<StoreMachine> m_machine;
    QString m_data; // what the store has said of its products

    static bool fetchCatalog()
    {
        auto* const job = new Pakmart::RefreshCatalogJob;
        QSignalSpy ends(job, SIGNAL(result(KJob*)));
        job->start();
        return ends.wait(120000);
    }
    static bool makeCatalogs(const QString& language, const QStringList& options)
    {
        for (const char* domain : { "pakmart-store", "libvantrelagent" }) {
            const QString from = QStringLiteral(TEMPLATES "/%1.pot").arg(QLatin1String(domain));
            const QString to = QStringLiteral("%1/pseudo/locale/%2/LC_MESSAGES/%3.mo")
                                   .arg(QString::fromLocal8Bit(qgetenv("TEST_DIR")), language,
                                        QLatin1String(domain));
            if (QProcess::execute(QStringLiteral(PSEUDO), options + QStringList{ from, to }) != 0)
                return false;
        }
        return true;
    }
    static QString readData()
    {
        QStringList all;
        Agent::CatalogScan scan;
        while (scan.Next()) {
            for (const auto& value : scan.Values())
                all << QString::fromUtf8(value.text);
            all << QString::fromStdString(scan.Description());
            for (const std::string& name : scan.Dependencies())
                all << QString::fromStdString(name);
        }
        for (QString& text : all)
            text = text.simplified();
        return all.join(QLatin1Char('\n'));
    }

    // What is read of an item: its text, what an empty field says, its name for those who
    // do not see it.
    static QStringList textsOf(QQuickItem* item)
    {
        QStringList texts;
        for (const char* name : { "text", "placeholderText", "title" })
            texts << item->property(name).toString();
        if (QAccessibleInterface* const seen = QAccessible::queryAccessibleInterface(item))
            texts << seen->text(QAccessible::Name) << seen->text(QAccessible::Description);
        return texts;
    }
    // Whether a text has words that are neither in brackets nor the store's own.
    bool isUntranslated(const QString& text) const
    {
        static const QRegularExpression translated(QStringLiteral("«[^«»]*»"));
        static const QRegularExpression word(QStringLiteral("[a-z]{2}"),
                                             QRegularExpression::CaseInsensitiveOption);
        QString rest = text;
        for (int before = -1; before != rest.size();) { // texts are in other texts
            before = rest.size();
            rest.remove(translated);
        }
        return rest.contains(word) && !m_data.contains(rest.simplified());
    }
    QStringList untranslated(const OpenWindow& store) const
    {
        QStringList found;
        store.forEachItem([&](QQuickItem* item) {
            for (const QString& text : textsOf(item))
                if (isUntranslated(text))
                    found << text;
        });
        return found;
    }
    // Texts that end in dots for want of room. Names and summaries of products may be as long
    // as they like.
    QStringList cut(const OpenWindow& store) const
    {
        QStringList found;
        store.forEachItem([&](QQuickItem* item) {
            const QString text = item->property("text").toString();
            if (item->property("truncated").toBool() && text.contains(QChar(0xAB)))
                found << text;
        });
        return found;
    }

    // Texts that do not begin where a line does, as Latin ones by themselves would not. What is
    // typed goes its own way.
    static QStringList misplaced(const OpenWindow& store, bool isMirrored)
    {
        QStringList found;
        const int wrong = isMirrored ? Qt::AlignLeft : Qt::AlignRight;
        store.forEachItem([&](QQuickItem* item) {
            const QVariant alignment = item->property("effectiveHorizontalAlignment");
            const QString text = item->property("text").toString();
            if (alignment.isValid() && alignment.toInt() == wrong && !text.isEmpty()
                && !item->inherits("QQuickTextInput"))
                found << text;
        });
        return found;
    }

private slots:
    void initTestCase()
    {
        qputenv("QT_QUICK_BACKEND", "software");
        const QByteArray folder = qgetenv("TEST_DIR");
        qputenv("XDG_DATA_DIRS", CATALOGS ":" + folder + "/pseudo:/usr/share");
        // In C.UTF-8, the C library of Debian 13 translates nothing.
        QVERIFY(MakeLocale(QString::fromLocal8Bit(folder), QStringLiteral("en_US.UTF-8")));
        qputenv("LOCPATH", folder);
        QVERIFY(std::setlocale(LC_MESSAGES, "en_US.UTF-8"));
        QVERIFY(makeCatalogs(QStringLiteral("xx"), {}));
        QVERIFY(makeCatalogs(QStringLiteral("xr"), { QStringLiteral("--right-to-left") }));
        m_machine = std::make_unique<StoreMachine>();
        QVERIFY(m_machine->setUp());
        QVERIFY(m_machine->serve());
        QVERIFY(fetchCatalog());
        m_data = readData();
        QVERIFY(m_data.contains(QStringLiteral("Star Lander")));
    }
    void cleanup() { KLocalizedString::clearLanguages(); }

    void everyTextOfAPageIsTranslated_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("last"); // the item that is there when the page is
        QTest::addColumn<QString>("language");
        QTest::addColumn<int>("width");
        const char* const pages[][2] = {
            { "front", "category-Games" },
            { "category/Games", "product-starlander" },
            { "search/lander", "product-starlander" },
            { "product/1001", "install" },
            { "product/999999", "missing" },
            { "installed", "stateText" },
            { "updates", "look" },
            { "recent", "heading" },
            { "history", "heading" },
            { "account", "sync" },
            { "settings", "kept" },
            { "account", "sync" },
            { "settings", "kept" },
            { "about", "version" },
        };
        for (const auto& page : pages)
            for (const char* language : { "xx", "xr" })
                for (const int width : { 360, 1280 })
                    QTest::addRow("%s in %s at %d", page[0], language, width)
                        << QString::fromLatin1(page[0]) << QString::fromLatin1(page[1])
                        << QString::fromLatin1(language) << width;
    }
    void everyTextOfAPageIsTranslated()
    {
        QFETCH(QString, address);
        QFETCH(QString, last);
        QFETCH(QString, language);
        QFETCH(int, width);
        KLocalizedString::setLanguages({ language });
        const bool isMirrored = language == QLatin1String("xr");
        QGuiApplication::setLayoutDirection(isMirrored ? Qt::RightToLeft : Qt::LeftToRight);
        const auto reset
            = qScopeGuard([] { QGuiApplication::setLayoutDirection(Qt::LeftToRight); });
        OpenWindow store;
        QVERIFY(store.open(address, QSize(width, 640)));
        QTRY_VERIFY(store.item(last, store.currentPage()));
        store.picture(
            QString::fromLatin1(QTest::currentDataTag()).replace('/', '-').replace(' ', '-'));
        QTRY_COMPARE(untranslated(store).join('|'), QString());
        QTRY_COMPARE(store.outside(), QStringList());
        QCOMPARE(cut(store).join('|'), QString());
        QCOMPARE(misplaced(store, isMirrored).join('|'), QString());
        QVERIFY(store.item(QStringLiteral("search"))->width() > 150);
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    void pagesAreInGerman_data()
    {
        QTest::addColumn<QString>("item");
        QTest::addColumn<QString>("text");
        const auto row = [](const char* address, const char* item, const char* text) {
            QTest::newRow(address) << QString::fromUtf8(item) << QString::fromUtf8(text);
        };
        row("front", "number", "4 Produkte");
        row("product/1001", "install", "Installieren");
        row("product/999999", "missing", "Der Laden hat dieses Produkt nicht.");
        row("search/lander", "heading", "Ergebnisse für „lander“");
        row("installed", "stateText", "Kein Produkt des Ladens ist installiert.");
        row("updates", "look", "Nach Aktualisierungen suchen");
        row("recent", "heading", "Zuletzt verwendet");
        row("history", "heading", "Verlauf");
        row("account", "heading", "Meine Produkte");
        row("settings", "heading", "Einstellungen");
        row("account", "heading", "Meine Produkte");
        row("settings", "heading", "Einstellungen");
        row("about", "heading", "Software-Laden");
    }
    void pagesAreInGerman()
    {
        QFETCH(QString, item);
        QFETCH(QString, text);
        KLocalizedString::setLanguages({ QStringLiteral("de") });
        for (const int width : { 360, 1280 }) {
            OpenWindow store;
            QVERIFY(store.open(QString::fromLatin1(QTest::currentDataTag()), QSize(width, 640)));
            QTRY_VERIFY(store.texts(item, store.currentPage()).contains(text));
            QTRY_COMPARE(store.outside(), QStringList());
            QCOMPARE(OpenWindow::warnings(), QStringList());
        }
    }
};

QTEST_MAIN(WindowLanguagesTest)
#include "tst_window_languages.moc"
