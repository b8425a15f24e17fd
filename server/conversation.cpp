// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "conversation.h"

#include <array>
#include <cerrno>
#include <exception>
#include <sys/socket.h>

namespace
{

const std::chrono::seconds longestRequest(5);
const std::chrono::seconds writeInterval(10);
const std::size_t leastTaken = 10 * 1024; // bytes in an interval
const std::chrono::seconds farewell(1); // for the client to close its side
const std::size_t turn = 4 * 1024 * 1024; // bytes of a reply, before others have theirs

using Outcome = Transport::Outcome;
using Wants = Conversation::Wants;

Wants WantsOf(Outcome outcome)
{
    return outcome == Outcome::WantsInput ? Wants::Input
        : outcome == Outcome::WantsRoom   ? Wants::Room
                                          : Wants::Nothing;
}

} // namespace

Conversation::Conversation(std::unique_ptr<Transport> transport, std::shared_ptr<void> place,
                           std::string address, End end)
    : m_place(std::move(place)), m_address(std::move(address)), m_end(std::move(end)),
      m_transport(std::move(transport)), m_deadline(Clock::now() + longestRequest)
{
    m_reply.status = 0;
}

Conversation::~Conversation()
{
    try {
        m_end(*this);
    } catch (const std::exception&) { // there is no memory for a line of a log
    }
}

Wants Conversation::Advance(const Answer& answer)
{
    Wants wants = Wants::Nothing;
    if (m_stage == Stage::Reading)
        wants = Read(answer);
    if (m_stage == Stage::Replying)
        wants = Reply();
    if (m_stage == Stage::Leaving)
        wants = Leave();
    return wants;
}

// The deadline is that of the whole request, so a client cannot extend it by sending slowly.
// One that has sent a part is told, one that has sent nothing is not.
Wants Conversation::Read(const Answer& answer)
{
    std::array<char, 4096> block;
    while (!m_reader.IsDone()) {
        const bool late = Clock::now() >= m_deadline;
        const Transport::Result got = late ? Transport::Result{ Outcome::Ended, 0 }
                                           : m_transport->Read(block.data(), block.size());
        if (got.outcome == Outcome::Moved)
            m_reader.Add(block.data(), got.bytes);
        else if (got.outcome != Outcome::Ended)
            return WantsOf(got.outcome);
        else if (m_reader.IsEmpty())
            return Wants::Nothing;
        else
            m_reader.End();
    }
    Begin(answer, m_reader.Take(m_request));
    return Wants::Nothing;
}

void Conversation::Begin(const Answer& answer, int status)
{
    m_reply.status = status;
    if (status == 200)
        answer(m_request, m_reply);
    m_length = PrepareReply(m_request, m_reply, m_head);
    m_stage = Stage::Replying;
    m_deadline = Clock::now() + writeInterval;
}

// The head is held back until the content follows, so that a small reply is one packet.
Transport::Result Conversation::ReplyNext()
{
    if (m_sent < m_head.size())
        return m_transport->Write(m_head.data() + m_sent, m_head.size() - m_sent, m_length > 0);
    const std::size_t at = m_sent - m_head.size();
    if (!m_reply.file)
        return m_transport->Write(m_reply.Body().data() + at, m_length - at, false);
    off_t from = m_reply.first + off_t(at);
    return m_transport->SendFile(m_reply.file.Get(), from, m_length - at);
}

Wants Conversation::Reply()
{
    const std::size_t pause = m_sent + turn;
    while (m_sent < m_head.size() + m_length) {
        if (m_sent >= pause)
            return Wants::Room; // which there may be at once
        const Transport::Result went = ReplyNext();
        if (went.outcome != Outcome::Moved)
            return WantsOf(went.outcome);
        m_sent += went.bytes;
    }
    m_transport->Finish();
    m_stage = Stage::Leaving;
    m_deadline = Clock::now() + farewell;
    return Wants::Nothing;
}

bool Conversation::IsAnythingUnread() const
{
    char next;
    return recv(Socket(), &next, sizeof next, MSG_PEEK) > 0;
}

// If a socket is closed with unread bytes, the connection is reset and the reply is lost. So
// what the client still sends is read, for a while. One that has sent its whole request is
// not waited for: the kernel sends the reply.
Wants Conversation::Leave()
{
    if (m_reader.IsWhole() && !IsAnythingUnread())
        return Wants::Nothing;
    std::array<char, 4096> rest;
    while (m_afterwards < RequestReader::largest) {
        const ssize_t got = recv(Socket(), rest.data(), rest.size(), 0);
        if (got < 0 && errno == EAGAIN)
            return Wants::Input;
        if (got <= 0)
            break;
        m_afterwards += std::size_t(got);
    }
    return Wants::Nothing;
}

bool Conversation::Renew()
{
    if (m_stage != Stage::Replying)
        return m_stage == Stage::Reading && !m_reader.IsEmpty();
    const std::size_t open = m_transport->Unconfirmed();
    const std::size_t taken = m_sent > open ? m_sent - open : 0;
    if (taken < m_taken + leastTaken)
        return false;
    m_taken = taken;
    m_deadline = Clock::now() + writeInterval;
    return true;
}

std::size_t Conversation::BodySent() const
{
    return m_sent > m_head.size() ? m_sent - m_head.size() : 0;
}
