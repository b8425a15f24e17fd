// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Which connections count as those of one client, and when a client has too many.

#include "guests.h"

#include <QByteArray>
#include <QtTest>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <vector>

namespace
{

sockaddr_storage Address(const QByteArray& text)
{
    sockaddr_storage address = {};
    const bool isV4 = !text.contains(':');
    address.ss_family = isV4 ? AF_INET : AF_INET6;
    void* const bytes = isV4
        ? static_cast<void*>(&reinterpret_cast<sockaddr_in&>(address).sin_addr)
        : static_cast<void*>(&reinterpret_cast<sockaddr_in6&>(address).sin6_addr);
    if (inet_pton(address.ss_family, text.constData(), bytes) != 1)
        qFatal("%s is no address", text.constData());
    return address;
}

} // namespace

class GuestsTest : public QObject
{
    Q_OBJECT

private slots:
    void connectionsOfOneClientCountTogether_data()
    {
        QTest::addColumn<QByteArray>("first");
        QTest::addColumn<QByteArray>("second");
        QTest::addColumn<bool>("isOne");
        const auto row = [](const char* name, const char* first, const char* second, bool isOne) {
            QTest::newRow(name) << QByteArray(first) << QByteArray(second) << isOne;
        };
        row("one address", "192.0.2.7", "192.0.2.7", true);
        row("neighbours", "192.0.2.7", "192.0.2.8", false);
        row("IPv4 written as IPv6", "192.0.2.7", "::ffff:192.0.2.7", true);
        row("neighbours written as IPv6", "::ffff:192.0.2.7", "::ffff:192.0.2.8", false);
        row("one network", "2001:db8::1", "2001:db8::8000:0:0:1", true);
        row("the next network", "2001:db8:0:1::1", "2001:db8:0:2::1", false);
        row("bytes of an IPv4 address", "192.0.2.7", "c000:207::", false);
    }
    void connectionsOfOneClientCountTogether()
    {
        QFETCH(QByteArray, first);
        QFETCH(QByteArray, second);
        QFETCH(bool, isOne);
        Guests guests(1);
        const auto place = guests.Admit(Address(first));
        QVERIFY(place);
        QCOMPARE(!guests.Admit(Address(second)), isOne);
    }

    void aPlaceIsGivenBackWithItsLastCopy()
    {
        Guests guests(2);
        const sockaddr_storage address = Address("192.0.2.7");
        auto first = guests.Admit(address), copy = first;
        const auto second = guests.Admit(address);
        QVERIFY(first && second);
        first.reset();
        for (int i = 0; i < 3; ++i) // those who are refused take no place
            QVERIFY(!guests.Admit(address));
        copy.reset();
        const auto third = guests.Admit(address);
        QVERIFY(third);
        QVERIFY(!guests.Admit(address));
    }
    void withoutALimitAllAreAdmitted()
    {
        Guests guests(0);
        std::vector<std::shared_ptr<void>> places;
        for (int i = 0; i < 100; ++i) {
            places.push_back(guests.Admit(Address("2001:db8::1")));
            QVERIFY(places.back());
        }
    }

    void addressesAreWrittenAsPeopleDo_data()
    {
        QTest::addColumn<QByteArray>("address");
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("IPv4") << QByteArray("192.0.2.7") << QByteArray("192.0.2.7");
        QTest::newRow("as IPv6") << QByteArray("::ffff:192.0.2.7") << QByteArray("192.0.2.7");
        QTest::newRow("IPv6") << QByteArray("2001:DB8:0::7") << QByteArray("2001:db8::7");
        QTest::newRow("long") << QByteArray("2001:db8:1111:2222:3333:4444:5555:6666")
                              << QByteArray("2001:db8:1111:2222:3333:4444:5555:6666");
    }
    void addressesAreWrittenAsPeopleDo()
    {
        QFETCH(QByteArray, address);
        QFETCH(QByteArray, text);
        QCOMPARE(QByteArray::fromStdString(AddressText(Address(address))), text);
        QVERIFY(IsAddress(text.toStdString()));
        QVERIFY(!IsAddress(text.toStdString() + ' '));
    }
};

QTEST_GUILESS_MAIN(GuestsTest)
#include "tst_guests.moc"
