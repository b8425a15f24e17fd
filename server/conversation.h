// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// One client's connection: a request, its reply, and the end.
//
// No thread waits for a client. A conversation goes on until the client has to do
// something, says what it waits for, and is resumed later by any thread. The client's time
// is limited: 5 s for its request, however it sends that; at least 10 KB of the reply have
// to be taken in each 10 s; 1 s to close its side.

#pragma once

#include "httpmessage.h"
#include "transport.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>

class Conversation
{
public:
    using Clock = std::chrono::steady_clock;
    using Answer = std::function<void(const HttpRequest& request, HttpReply& reply)>;
    enum class Wants { Input, Room, Nothing };

    using End = std::function<void(const Conversation&)>;

    // `place` is kept until the end; `address` is the client's. `end` is called at the end.
    Conversation(std::unique_ptr<Transport> transport, std::shared_ptr<void> place,
                 std::string address, End end);
    ~Conversation();

    // Goes on. Nothing: it is over. `answer` fills the reply to a request that is there.
    Wants Advance(const Answer& answer);

    // When the client's time is over. False then if that was the end; true if there is
    // something left to do.
    Clock::time_point Deadline() const { return m_deadline; }
    bool Renew();

    // Whether the request has come, and a reply is on its way.
    bool IsReplying() const { return m_stage == Stage::Replying; }
    // The memory that this client alone makes the server keep, in bytes.
    std::size_t Weight() const { return m_reply.isShared ? 0 : m_reply.Body().size(); }
    int Socket() const { return m_transport->Socket(); }

    const std::string& Address() const { return m_address; }
    const HttpRequest& Request() const { return m_request; }
    Clock::time_point Begun() const { return m_begun; }
    int Status() const { return m_reply.status; } // 0: there was no request
    std::size_t BodySent() const;

private:
    enum class Stage { Reading, Replying, Leaving };
    Wants Read(const Answer& answer);
    void Begin(const Answer& answer, int status);
    Wants Reply();
    Transport::Result ReplyNext();
    Wants Leave();
    bool IsAnythingUnread() const;

    const std::shared_ptr<void> m_place;
    const std::string m_address;
    const End m_end;
    const std::unique_ptr<Transport> m_transport;
    const Clock::time_point m_begun = Clock::now();
    Stage m_stage = Stage::Reading;
    Clock::time_point m_deadline;
    RequestReader m_reader;
    HttpRequest m_request;
    HttpReply m_reply;
    std::string m_head;
    std::size_t m_length = 0; // of what follows the head
    std::size_t m_sent = 0; // of head and content
    std::size_t m_taken = 0; // of m_sent, by the client at the last look
    std::size_t m_afterwards = 0; // bytes that came after the request, and were not wanted
};
