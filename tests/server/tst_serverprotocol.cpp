// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The page about the server's protocol: serves its store, sends its requests, and
// compares its replies byte by byte.

#include "server/serverprocess.h"

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>
#include <utility>

class ServerProtocolTest : public QObject
{
    Q_OBJECT

private:
    struct Block {
        QByteArray kind;
        QByteArray text;
    };
    QList<Block> m_blocks;
    QTemporaryDir m_dir;

private slots:
    void initTestCase()
    {
        QFile page(QStringLiteral(PROTOCOL_PAGE));
        QVERIFY(page.open(QIODevice::ReadOnly));
        const QRegularExpression fence(QStringLiteral("^```(\\S+)\\n(.*?)^```$"),
                                       QRegularExpression::MultilineOption
                                           | QRegularExpression::DotMatchesEverythingOption);
        for (auto match = fence.globalMatch(QString::fromUtf8(page.readAll())); match.hasNext();) {
            const auto block = match.next();
            m_blocks.append({ block.captured(1).toLatin1(), block.captured(2).toUtf8() });
        }
        for (const Block& block : std::as_const(m_blocks)) {
            if (block.kind.startsWith("store:"))
                QVERIFY(WriteTextFile(m_dir.filePath(QString::fromLatin1(block.kind.mid(6))),
                                      block.text));
        }
    }

    void everyExampleIsTrue()
    {
        const ServerProcess server(m_dir.path());
        QVERIFY(server.isRunning());
        int examples = 0;
        for (int i = 0; i + 1 < m_blocks.size(); ++i) {
            if (m_blocks[i].kind != "request")
                continue;
            QCOMPARE(m_blocks[i + 1].kind, QByteArray("reply"));
            const QByteArray target = m_blocks[i].text.trimmed().mid(4);
            const HttpReply reply = server.get(target, { "Host: store.example:8080" });
            QCOMPARE(reply.status, 200);
            QCOMPARE(reply.body, m_blocks[i + 1].text);
            ++examples;
        }
        QCOMPARE(examples, 13);
    }

    // A function that the page does not show would be in the directory's example
    // but not among the requests.
    void everyFunctionHasAnExample()
    {
        QByteArray requests;
        QByteArray replies;
        for (const Block& block : std::as_const(m_blocks))
            (block.kind == "request" ? requests : replies) += block.text;
        const QRegularExpression url(QStringLiteral("<url>http://[^/]*(/[^<]*)</url>"));
        int functions = 0;
        for (auto match = url.globalMatch(QString::fromUtf8(replies)); match.hasNext(); ++functions)
            QVERIFY(requests.contains("GET " + match.next().captured(1).toUtf8()));
        QVERIFY(functions >= 3);
    }
};

QTEST_GUILESS_MAIN(ServerProtocolTest)
#include "tst_serverprotocol.moc"
