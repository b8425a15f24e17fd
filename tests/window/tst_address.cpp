// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Where links and --page lead to.

#include "store/address.h"

#include <QtTest>

class AddressTest : public QObject
{
    Q_OBJECT

private slots:
    void anAddressLeadsToAPage_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("page");
        QTest::addColumn<QString>("value");
        const auto row = [](const char* name, const QString& text, const char* page = "",
                            const char* value = "") {
            QTest::newRow(name) << text << QString::fromUtf8(page) << QString::fromUtf8(value);
        };
        row("page", QStringLiteral("updates"), "updates");
        row("account", QStringLiteral("account"), "account");
        row("settings", QStringLiteral("settings"), "settings");
        row("link to a page", QStringLiteral("pakmart:updates"), "updates");
        row("product", QStringLiteral("pakmart:product/1001"), "product", "1001");
        row("with slashes", QStringLiteral("pakmart://product/1001"), "product", "1001");
        row("category", QStringLiteral("pakmart:category/Games/Arcade"), "category",
            "Games/Arcade");
        row("search", QStringLiteral("pakmart:search/star%20lander"), "search", "star lander");
        row("letters", QStringLiteral("pakmart:search/%C3%BC"), "search", "\u00fc");
        row("nothing", QString());
        row("unknown page", QStringLiteral("pakmart:remove/bash"));
        row("a page with a value", QStringLiteral("pakmart:updates/all"));
        row("other scheme", QStringLiteral("http://store.example/product/1001"));
        row("file", QStringLiteral("file:///etc/passwd"));
        row("no serial number", QStringLiteral("pakmart:product/"));
        row("negative", QStringLiteral("pakmart:product/-1"));
        row("signed", QStringLiteral("pakmart:product/+1"));
        row("too large", QStringLiteral("pakmart:product/99999999999"));
        row("blank before", QStringLiteral("pakmart:product/%201"));
        row("control character", QStringLiteral("pakmart:search/a%0Ab"));
        row("zero byte", QStringLiteral("pakmart:search/a%00b"));
        row("very long", QStringLiteral("pakmart:search/") + QString(201, QLatin1Char('a')));
        row("upper case", QStringLiteral("PAKMART:updates"));
    }
    void anAddressLeadsToAPage()
    {
        QFETCH(QString, text);
        QFETCH(QString, page);
        const Address address = ReadAddress(text);
        QCOMPARE(address.page, page);
        QTEST(address.value, "value");
        QCOMPARE(address.isValid(), !page.isEmpty());
    }
};

QTEST_GUILESS_MAIN(AddressTest)
#include "tst_address.moc"
