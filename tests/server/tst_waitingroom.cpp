// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Who gives way when too many clients, or too large replies, are waited for.

#include "waitingroom.h"

#include <QByteArray>
#include <QtTest>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace
{

const std::size_t roomForMany = 1000;
const std::size_t heavy = 4 * 1024 * 1024; // more than a socket takes at once

// A client that never takes its reply, and its conversation.
class Client
{
public:
    explicit Client(std::vector<int>& ended, int number) : m_number(number), m_ended(ended)
    {
        int pair[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0)
            qFatal("no sockets");
        m_own = Agent::Descriptor(pair[0]);
        m_server = Agent::Descriptor(pair[1]);
        fcntl(m_server.Get(), F_SETFL, O_NONBLOCK);
    }
    void say(const char* text) const
    {
        QCOMPARE(write(m_own.Get(), text, strlen(text)), ssize_t(strlen(text)));
    }
    // What has come of a reply until now.
    QByteArray taken() const
    {
        QByteArray all(int(2 * heavy), '\0');
        const ssize_t got = recv(m_own.Get(), all.data(), std::size_t(all.size()), MSG_DONTWAIT);
        return all.left(int(std::max<ssize_t>(got, 0)));
    }
    std::unique_ptr<Conversation> begin()
    {
        return std::make_unique<Conversation>(
            std::make_unique<Transport>(std::move(m_server)), nullptr, "here",
            [this](const Conversation&) { m_ended.push_back(m_number); });
    }

private:
    const int m_number;
    std::vector<int>& m_ended;
    Agent::Descriptor m_own, m_server;
};

} // namespace

class WaitingRoomTest : public QObject
{
    Q_OBJECT

private:
    std::vector<int> m_ended; // the numbers of the clients whose conversations are over
    std::vector<std::unique_ptr<Client>> m_clients;

    Client& newClient()
    {
        m_clients.push_back(std::make_unique<Client>(m_ended, int(m_clients.size())));
        return *m_clients.back();
    }
    // Lets a client wait that has sent a part of its request.
    void parkReader(WaitingRoom& room)
    {
        Client& client = newClient();
        client.say("GET / HT");
        auto conversation = client.begin();
        const auto wants = conversation->Advance([](const HttpRequest&, HttpReply&) {});
        QCOMPARE(int(wants), int(Conversation::Wants::Input));
        room.Park(std::move(conversation), wants);
    }
    // Lets a client wait that has a reply of `size` to take.
    void parkTaker(WaitingRoom& room, std::size_t size, bool isShared = false)
    {
        Client& client = newClient();
        client.say("GET / HTTP/1.1\r\nHost: a\r\n\r\n");
        auto conversation = client.begin();
        const auto wants = conversation->Advance([&](const HttpRequest&, HttpReply& reply) {
            if (isShared)
                reply.SetShared(std::make_shared<Content>(std::string(size, 'x')), "text/plain");
            else
                reply.SetBody(std::string(size, 'x'), "text/plain");
        });
        QCOMPARE(int(wants), int(Conversation::Wants::Room));
        room.Park(std::move(conversation), wants);
    }
    using Numbers = std::vector<int>;

private slots:
    void init()
    {
        m_ended.clear();
        m_clients.clear();
    }

    void beyondTheNumberTheFirstWhoseTimeIsOverGivesWay()
    {
        WaitingRoom room(2, roomForMany * heavy);
        parkReader(room); // has 5 seconds
        parkTaker(room, heavy); // has 10
        QCOMPARE(m_ended, Numbers());
        parkReader(room);
        QCOMPARE(m_ended, Numbers{ 0 });
        parkTaker(room, heavy);
        QCOMPARE(m_ended, (Numbers{ 0, 2 }));
    }
    void beyondTheWeightTheFirstWhoseTimeIsOverGivesWay()
    {
        WaitingRoom room(roomForMany, 2 * heavy + heavy / 2);
        parkTaker(room, heavy);
        parkTaker(room, heavy);
        QCOMPARE(m_ended, Numbers());
        parkTaker(room, heavy);
        QCOMPARE(m_ended, Numbers{ 0 });
    }
    void sharedRepliesHaveNoWeight()
    {
        WaitingRoom room(roomForMany, 2 * heavy);
        for (int i = 0; i < 5; ++i)
            parkTaker(room, heavy, true);
        QCOMPARE(m_ended, Numbers());
    }
    void aReplyThatIsTooHeavyAloneIsSentAllTheSame()
    {
        WaitingRoom room(roomForMany, heavy / 2);
        parkTaker(room, heavy);
        QCOMPARE(m_ended, Numbers());
    }
    // Its weight goes with it.
    void aConversationThatGoesOnMakesRoom()
    {
        WaitingRoom room(roomForMany, heavy + heavy / 2);
        for (int i = 0; i < 3; ++i) {
            parkTaker(room, heavy);
            QVERIFY(!m_clients.back()->taken().isEmpty());
            const auto conversation = room.Next();
            QVERIFY(conversation && conversation->IsReplying());
        }
        QCOMPARE(m_ended, (Numbers{ 0, 1, 2 })); // with the pointers above
    }
    void afterTheEndOnlyRepliesAreFinished()
    {
        WaitingRoom room(roomForMany, roomForMany * heavy);
        parkReader(room);
        parkTaker(room, heavy);
        room.Close();
        QCOMPARE(m_ended, Numbers{ 0 });
        parkReader(room);
        QCOMPARE(m_ended, (Numbers{ 0, 2 }));
        QVERIFY(!m_clients[1]->taken().isEmpty());
        const auto conversation = room.Next();
        QVERIFY(conversation && conversation->IsReplying());
        QVERIFY(!room.Next());
    }
};

QTEST_GUILESS_MAIN(WaitingRoomTest)
#include "tst_waitingroom.moc"
