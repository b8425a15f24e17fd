// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Attacks on the replies of a signed store, on a machine whose settings require signatures. Each
// row says what the attacker does, and the code of the refusal; no row reaches the request class,
// and the machine believes afterwards what it did before.

#include "base/base64.h"
#include "base/requestname.h"
#include "requests.h"
#include "tests/common/limits.h"
#include "tests/common/plainuser.h"
#include "tests/common/signingkey.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QLocale>
#include <QtTest>
#include <functional>
#include <memory>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

const QByteArray honest = "<agentfunction resultcode=\"OK\">an honest text</agentfunction>";
constexpr qint64 day = 24 * 60 * 60;

QByteArray DateText(qint64 age)
{
    const QDateTime when = QDateTime::currentDateTimeUtc().addSecs(-age);
    return QLocale::c().toString(when, QStringLiteral("ddd, dd MMM yyyy HH:mm:ss")).toLatin1()
        + " +0000";
}

QByteArray Sum(const QByteArray& bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex();
}

void WriteFile(const QString& name, const QByteArray& text, int mode = 0x6044)
{
    QDir().mkpath(QFileInfo(name).path());
    QFile::remove(name);
    QFile file(name);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
        qFatal("cannot write %s", qPrintable(name));
    file.setPermissions(QFile::Permissions(mode));
}

QByteArray ReadWhole(const QString& name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class SignedRepliesTest : public QObject
{
    Q_OBJECT

private:
    // What the store signs, and what the attacker sends.
    struct Reply {
        QByteArray origin = "Shop";
        QByteArray target = "/t";
        qint64 age = 60;
        qint64 valid = 7 * day; // from its date
        QByteArray body = honest; // that is signed
        QByteArray sent = honest;
        QByteArray more; // lines after the statement
        QStringList options; // of gpg
        const SigningKey* key = nullptr;
    };

    const QString m_dir = QString::fromLocal8Bit(qgetenv("TEST_DIR"));
    const QString m_root = QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT"));
    ScriptedServer m_server;
    std::unique_ptr<SigningKey> m_key, m_otherKey;

    QString etc(const char* name) const
    {
        return m_root + QLatin1String("/etc/pakmart/") + QLatin1String(name);
    }
    QString notes() const
    {
        return m_root + QLatin1String("/usr/share/apps/vantrelagent/.replydates");
    }

    void settings(const QByteArray& lines) const
    {
        WriteFile(etc("settings"), "[Stores]\n" + lines);
    }
    QByteArray store(const QByteArray& key, const QByteArray& origin) const
    {
        return "Types: deb\nURIs: " + m_server.url("/pool/r")
            + "\nSuites: ./\nSigned-By: /etc/pakmart/keys/" + key
            + ".gpg\nRelease-Origin: " + origin + "\nRelease-Suite: r\n";
    }
    void trust(const QByteArray& keys, const QByteArray& more = QByteArray()) const
    {
        WriteFile(etc("keys/shop.gpg"), keys);
        WriteFile(etc("stores.d/shop.sources"), store("shop", "Shop") + more);
    }
    QByteArray statementText(const Reply& reply) const
    {
        const std::string name = Agent::RequestName(m_server.url(reply.target).toStdString());
        return "Origin: " + reply.origin + "\nRequest: " + Sum(QByteArray::fromStdString(name))
            + "\nDate: " + DateText(reply.age) + "\nValid-Until: "
            + DateText(reply.age - reply.valid) + "\nSize: " + QByteArray::number(reply.body.size())
            + "\nSHA256: " + Sum(reply.body) + '\n' + reply.more;
    }
    QByteArray statement(const Reply& reply) const
    {
        return statement(reply, statementText(reply));
    }
    QByteArray statement(const Reply& reply, const QByteArray& text) const
    {
        const SigningKey& key = reply.key ? *reply.key : *m_key;
        return text.toBase64() + ' '
            + key.gpg(reply.options + QStringList{ QStringLiteral("--detach-sign") }, text)
                  .toBase64();
    }
    static QByteArray http(const QByteArray& body, const QByteArray& statement,
                           const QByteArray& status = "200 OK")
    {
        return ScriptedServer::http(
            body, status,
            statement.isEmpty() ? QByteArray() : "Pakmart-Statement: " + statement + "\r\n");
    }
    TestRequest::Record ask(const QByteArray& bytes, const QString& query = QString())
    {
        m_server.answer("/t", bytes);
        TestRequest::Record record;
        record.query = query;
        (new TestRequest(record))->Execute();
        return record;
    }
    TestRequest::Record ask(const Reply& reply) { return ask(http(reply.sent, statement(reply))); }
    static bool isAccepted(const TestRequest::Record& record)
    {
        return record.failures.isEmpty()
            && record.events.contains(QLatin1String("ok an honest text"));
    }
    // The request class gets nothing; the texts are the library's own.
    void isRefused(const TestRequest::Record& record, const QByteArray& code) const
    {
        QCOMPARE(record.failures, QStringList{ QStringLiteral("reply-not-trusted") });
        QVERIFY2(record.details.endsWith(QLatin1String(": ") + QLatin1String(code)),
                 qPrintable(record.details));
        QVERIFY2(record.sentence.startsWith(QLatin1String("The store '")
                                            + QLatin1String(m_server.url(""))
                                            + QLatin1String("' is refused: ")),
                 qPrintable(record.sentence));
        QCOMPARE(
            record.events.mid(1),
            QStringList({ QLatin1String("error ") + Texts::format, QStringLiteral("complete 0") }));
    }

private slots:
    void initTestCase()
    {
        QCOMPARE(QProcess::execute(
                     QStringLiteral(MKROOT),
                     { QStringLiteral("--front-end"), QStringLiteral(VOS_APT_GET), m_root }),
                 0);
        m_key = std::make_unique<SigningKey>(m_dir + QStringLiteral("/key"));
        m_otherKey = std::make_unique<SigningKey>(m_dir + QStringLiteral("/other"));
        Setting("agent api url", m_server.url("/api").toStdString());
        m_server.answer("/api", Directory({ { "TestRequest", m_server.url("/t") } }));
        QVERIFY(isAccepted(ask(ScriptedServer::http(honest)))); // it need not be signed yet
    }
    void init()
    {
        settings("RequireSignedReplies=yes\n");
        trust(ReadWhole(m_key->publicFile()));
        QFile::remove(etc("stores.d/bazaar.sources"));
        QFile::remove(notes());
    }

    void anHonestReplyIsAccepted()
    {
        const auto record = ask(Reply{});
        QVERIFY2(isAccepted(record), qPrintable(record.sentence + record.details));
        QVERIFY(ReadWhole(notes()).endsWith(" Shop\n"));
    }
    void aHeaderMayHaveSmallLetters()
    {
        const QByteArray header = "pakmart-statement:" + statement(Reply{}) + "\r\n";
        QVERIFY(isAccepted(ask(ScriptedServer::http(honest, "200 OK", header))));
    }
    void clocksMayDifferALittle()
    {
        Reply early;
        early.age = -5 * 60;
        QVERIFY(isAccepted(ask(early)));
    }
    void anyStrongSumIsAccepted_data()
    {
        QTest::addColumn<QString>("sum");
        for (const char* sum : { "SHA256", "SHA384", "SHA512" })
            QTest::newRow(sum) << QString::fromLatin1(sum);
    }
    void anyStrongSumIsAccepted()
    {
        QFETCH(QString, sum);
        Reply reply;
        reply.options = QStringList{ QStringLiteral("--digest-algo"), sum };
        const auto record = ask(reply);
        QVERIFY2(isAccepted(record), qPrintable(record.sentence));
    }
    // However its bytes are escaped on the way.
    void aRequestHasOneName()
    {
        Reply reply;
        reply.target = "/t?app_id%5b%5D=7&name=a+b%2Bc";
        const auto record
            = ask(http(honest, statement(reply)), QStringLiteral("?app_id[]=7&name=%61+b%2bc"));
        QVERIFY2(isAccepted(record), qPrintable(record.sentence + record.details));
    }

    void anAttackIsRefused_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QByteArray>("code");
        const auto row = [this](const char* name, const char* code,
                                const std::function<void(Reply&)>& change) {
            Reply reply;
            change(reply);
            QTest::newRow(name) << http(reply.sent, statement(reply)) << QByteArray(code);
        };
        const QByteArray forged = "<agentfunction resultcode=\"OK\">a forged text</agentfunction>";
        QTest::newRow("not signed") << http(honest, QByteArray()) << QByteArray("unsigned");
        QTest::newRow("not a statement") << http(honest, "AAAA") << QByteArray("not-understood");
        QTest::newRow("an endless statement")
            << http(honest, QByteArray(5000, 'A')) << QByteArray("unsigned");
        QTest::newRow("a text without its signature")
            << http(honest, statementText({}).toBase64()) << QByteArray("not-understood");
        QTest::newRow("a signature that is none")
            << http(honest, statementText({}).toBase64() + " AAAA") << QByteArray("wrong-key");
        row("another key", "wrong-key", [this](Reply& r) { r.key = m_otherKey.get(); });
        row("a weak sum", "wrong-key", [](Reply& r) {
            r.options = QStringList{ QStringLiteral("--digest-algo"), QStringLiteral("SHA1") };
        });
        row("another text", "altered", [&](Reply& r) { r.sent = forged; });
        row("another byte", "altered", [](Reply& r) { r.sent.replace("honest", "Honest"); });
        row("a byte more", "altered", [](Reply& r) { r.sent += '\n'; });
        row("a byte less", "altered", [](Reply& r) { r.sent.chop(1); });
        row("a refusal with a text", "altered", [](Reply& r) {
            r.sent = "<agentfunction resultcode=\"FAILED\" msg=\"Visit evil.example\"/>";
        });
        row("of another function", "other-request", [](Reply& r) { r.target = "/u"; });
        row("of other arguments", "other-request", [](Reply& r) { r.target = "/t?app_id[]=8"; });
        row("of another store of the key", "other-store", [](Reply& r) { r.origin = "Bazaar"; });
        row("expired", "expired", [](Reply& r) { r.age = 8 * day; });
        row("two years old, valid forever", "expired", [](Reply& r) {
            r.age = 2 * 365 * day;
            r.valid = 20 * 365 * day;
        });
        row("of the future", "future", [](Reply& r) { r.age = -day / 2; });
        row("twenty minutes early", "future", [](Reply& r) { r.age = -20 * 60; });
        row("with a line more", "not-understood", [](Reply& r) { r.more = "Date: x\n"; });
        // What an honest text has, and what is signed in its place.
        const auto written = [this](const char* name, const char* code, const QByteArray& from,
                                    const QByteArray& to) {
            const QByteArray text = statementText({}).replace(from, to);
            QTest::newRow(name) << http(honest, statement({}, text)) << QByteArray(code);
        };
        written("without a date", "not-understood", "\nDate: ", "\nDato: ");
        written("a date that is none", "not-understood", "\nDate: ", "\nDate: x");
        written("an end that is none", "not-understood", "Until: ", "Until: x");
        written("no name of the store", "not-understood", "Shop", "");
        written("letters in the size", "not-understood", "\nSHA256", "x\nSHA256");
        written("a size of too many digits", "not-understood", "Size: ", "Size: 00000000000000000");
        written("another size", "altered", "Size: ", "Size: 1");
        written("half a last line", "not-understood", Sum(honest) + '\n', Sum(honest));
        Reply reply;
        const QByteArray text = statement(reply);
        reply.body = forged;
        QTest::newRow("the statement of another reply with its signature")
            << http(forged, statementText(reply).toBase64() + text.mid(text.indexOf(' ')))
            << QByteArray("wrong-key");
    }
    void anAttackIsRefused()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QByteArray, code);
        Reply known;
        known.age = day;
        QVERIFY(isAccepted(ask(known)));
        const QByteArray before = ReadWhole(notes());
        isRefused(ask(bytes), code);
        QCOMPARE(ReadWhole(notes()), before);
        QVERIFY(isAccepted(ask(Reply{})));
    }

    void anOlderReplyIsRefused()
    {
        const QByteArray first = http(honest, statement(Reply{}));
        QVERIFY(isAccepted(ask(first)));
        const QByteArray before = ReadWhole(notes());
        QTest::qWait(1100); // a date counts once its second is over
        QVERIFY(isAccepted(ask(first))); // is not older than itself
        Reply old;
        old.age = day;
        isRefused(ask(old), "older");
        QCOMPARE(ReadWhole(notes()), before);
        QVERIFY(isAccepted(ask(Reply{})));
    }
    // What another program has accepted meanwhile does not count: this reply may have left the
    // store before.
    void aDateThatWasNotedDuringTheTransferDoesNotCount()
    {
        Reply old;
        old.age = 120;
        const QByteArray bytes = http(honest, statement(old));
        m_server.answer("/t", [&](QTcpSocket* socket, const QByteArray&) {
            const QByteArray now = QByteArray::number(QDateTime::currentSecsSinceEpoch());
            WriteFile(notes(), now + ' ' + now + " Shop\n");
            socket->write(bytes);
            socket->disconnectFromHost();
        });
        TestRequest::Record record;
        (new TestRequest(record))->Execute();
        QVERIFY2(isAccepted(record), qPrintable(record.sentence));
    }
    // Others leave no file there, and believe its notes as well as their own.
    void onlyTheOwnerOfTheDataFolderNotesDatesThere_data()
    {
        QTest::addColumn<bool>("isPlain");
        QTest::newRow("root") << false;
        QTest::newRow("another user") << true;
    }
    void onlyTheOwnerOfTheDataFolderNotesDatesThere()
    {
        if (geteuid() != 0)
            return; // only root can give a folder away
        QFETCH(bool, isPlain);
        const QByteArray data = QFileInfo(notes()).path().toLocal8Bit();
        const QString own = isPlain
            ? m_dir + QStringLiteral("/visitor/.kde/share/apps/vantrelagent")
            : m_root + QStringLiteral("/var/lib/pakmart/replies");
        const QByteArray home = qgetenv("HOME"), visitor = m_dir.toLocal8Bit() + "/visitor";
        QDir().mkpath(QString::fromLocal8Bit(visitor));
        QCOMPARE(chown(visitor.constData(), PlainUser::nobody, PlainUser::nobody), 0);
        QCOMPARE(chown(data.constData(), 1, 1), 0);
        QCOMPARE(chmod((m_root.toLocal8Bit() + "/tmp").constData(), 01777), 0);
        const auto askAsOther = [&](qint64 age) {
            Reply reply;
            reply.age = age;
            const QByteArray bytes = http(honest, statement(reply));
            qputenv("HOME", isPlain ? visitor : home);
            std::optional<PlainUser> user;
            if (isPlain)
                user.emplace();
            return ask(bytes);
        };
        const auto first = askAsOther(600);
        const bool isNoted = !QFile::exists(notes())
            && ReadWhole(own + QStringLiteral("/.replydates")).endsWith(" Shop\n");
        const QByteArray now = QByteArray::number(QDateTime::currentSecsSinceEpoch() - 2);
        WriteFile(notes(), now + ' ' + now + " Shop\n");
        const auto second = askAsOther(300);
        qputenv("HOME", home);
        QCOMPARE(chown(data.constData(), 0, 0), 0);
        QDir(own).removeRecursively();
        QVERIFY2(isAccepted(first), qPrintable(first.sentence));
        QVERIFY(isNoted);
        isRefused(second, "older");
    }
    void aKeyThatIsRevokedOrHasExpiredIsRefused()
    {
        const SigningKey key(m_dir + QStringLiteral("/revoked"));
        Reply reply;
        reply.key = &key;
        const QByteArray bytes = http(honest, statement(reply));
        trust(ReadWhole(key.publicFile()));
        QVERIFY(isAccepted(ask(bytes)));
        const QByteArray list
            = key.gpg({ QStringLiteral("--with-colons"), QStringLiteral("--list-keys") });
        const QString fingerprint
            = QString::fromLatin1(list.mid(list.indexOf("\nfpr:") + 1).split(':').value(9));
        key.gpg({ QStringLiteral("--quick-set-expire"), fingerprint, QStringLiteral("seconds=1") });
        QTest::qWait(2100);
        trust(key.gpg({ QStringLiteral("--export") }));
        isRefused(ask(bytes), "key-expired");
        key.gpg({ QStringLiteral("--quick-set-expire"), fingerprint, QStringLiteral("0") });
        key.revoke();
        trust(ReadWhole(key.publicFile()));
        isRefused(ask(bytes), "key-expired");
    }
    void bothKeysAreTrustedDuringAChange()
    {
        trust(ReadWhole(m_key->publicFile()) + ReadWhole(m_otherKey->publicFile()));
        Reply reply;
        QVERIFY(isAccepted(ask(reply)));
        reply.key = m_otherKey.get();
        QVERIFY(isAccepted(ask(reply)));
    }
    // Each with its name and its key.
    void aServerMayHaveSeveralStores()
    {
        WriteFile(etc("keys/bazaar.gpg"), ReadWhole(m_otherKey->publicFile()));
        WriteFile(etc("stores.d/bazaar.sources"), store("bazaar", "Bazaar"));
        Reply reply;
        QVERIFY(isAccepted(ask(reply)));
        reply.origin = "Bazaar";
        isRefused(ask(reply), "other-store");
        reply.key = m_otherKey.get();
        QVERIFY(isAccepted(ask(reply)));
        reply.origin = "Shop";
        isRefused(ask(reply), "wrong-key");
    }
    void aServerIsTrustedByItsAddress()
    {
        QFile::remove(etc("stores.d/shop.sources"));
        isRefused(ask(Reply{}), "unknown-store");
        trust(ReadWhole(m_key->publicFile()), "Replies: http://replies.example/x\n");
        isRefused(ask(Reply{}), "unknown-store");
        trust(ReadWhole(m_key->publicFile()), "Replies: " + m_server.url("/x") + '\n');
        QVERIFY(isAccepted(ask(Reply{})));
    }

    void settingsDecide_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("isRequired");
        QTest::newRow("yes") << QByteArray("[Stores]\nRequireSignedReplies=yes\n") << 0x6044
                             << true;
        QTest::newRow("no") << QByteArray("[Stores]\nRequireSignedReplies=no\n") << 0x6044 << false;
        QTest::newRow("nothing") << QByteArray("[Stores]\n") << 0x6044 << false;
        QTest::newRow("of another group")
            << QByteArray("[X]\nRequireSignedReplies=yes\n") << 0x6044 << false;
        QTest::newRow("an unknown word")
            << QByteArray("[Stores]\nRequireSignedReplies=1\n") << 0x6044 << true;
        QTest::newRow("a file that others can change")
            << QByteArray("[Stores]\nRequireSignedReplies=no\n") << 0x6066 << true;
    }
    void settingsDecide()
    {
        QFETCH(QByteArray, text);
        QFETCH(int, mode);
        QFETCH(bool, isRequired);
        WriteFile(etc("settings"), text, mode);
        const auto record = ask(http(honest, QByteArray()));
        if (isRequired)
            isRefused(record, "unsigned");
        else
            QVERIFY(isAccepted(record));
        QVERIFY(isRequired || !QFile::exists(notes()));
    }
    void thePageOfAnErrorIsNotSigned()
    {
        const auto record = ask(http("<html>gone</html>", QByteArray(), "503 No"));
        QCOMPARE(record.failures, QStringList{ QStringLiteral("server-failed") });
        QCOMPARE(record.events.last(), QStringLiteral("complete 0"));
    }

    void aCheckThatCannotBeMadeIsARefusal_data()
    {
        QTest::addColumn<QByteArray>("script");
        QTest::newRow("no program") << QByteArray();
        QTest::newRow("no word") << QByteArray("exit 1");
        QTest::newRow("a word and success") << QByteArray("echo I am well");
        QTest::newRow("a code alone") << QByteArray("echo 'F: altered'; exit 100");
        QTest::newRow("a sentence alone") << QByteArray("echo 'E: Altered.'; exit 100");
        QTest::newRow("ended by a signal")
            << QByteArray("echo 'F: altered'; echo 'E: Altered.'; kill -9 $$");
    }
    void aCheckThatCannotBeMadeIsARefusal()
    {
        QFETCH(QByteArray, script);
        const QString frontEnd = m_root + QStringLiteral("/usr/bin/vos-apt-get");
        QVERIFY(QFile::rename(frontEnd, frontEnd + QLatin1Char('~')));
        if (!script.isEmpty())
            WriteFile(frontEnd, "#!/bin/sh\n" + script + '\n', 0x7055);
        const auto record = ask(Reply{});
        QFile::remove(frontEnd);
        QVERIFY(QFile::rename(frontEnd + QLatin1Char('~'), frontEnd));
        QCOMPARE(record.failures, QStringList{ QStringLiteral("reply-not-trusted") });
        QVERIFY2(record.details.endsWith(QLatin1String(": not-checked")),
                 qPrintable(record.details));
    }
    void anAbortEndsTheCheck()
    {
        const QString frontEnd = m_root + QStringLiteral("/usr/bin/vos-apt-get");
        QVERIFY(QFile::rename(frontEnd, frontEnd + QLatin1Char('~')));
        WriteFile(frontEnd, "#!/bin/sh\ntouch " + m_dir.toLatin1() + "/begun\nexec sleep 100\n",
                  0x7055);
        QTimer timer;
        connect(&timer, &QTimer::timeout, this, [this] {
            if (QFile::exists(m_dir + QStringLiteral("/begun")))
                CAPI::AbortTransfers();
        });
        timer.start(20);
        const auto record = ask(Reply{});
        timer.stop();
        QCOMPARE(record.failures, QStringList{ QStringLiteral("cancelled") });
        QCOMPARE(record.events.last(), QStringLiteral("complete 0"));
        QFile::remove(frontEnd);
        QVERIFY(QFile::rename(frontEnd + QLatin1Char('~'), frontEnd));
    }
};

QTEST_MAIN(SignedRepliesTest)
#include "tst_signedreplies.moc"
