// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The conversations that wait for their clients. Threads take those that can go on.
//
// They cost memory but no thread. Beyond the limits the one whose time is over first gives way,
// so that clients that only wait cannot keep others out.

#pragma once

#include "conversation.h"

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <utility>

class WaitingRoom
{
public:
    // At most `most` conversations, and `mostWeight` bytes of their replies. Throws StoreError
    // if the system refuses what it takes.
    WaitingRoom(std::size_t most, std::size_t mostWeight);

    // Keeps it until its client has done what it `wants`, or its time is over.
    void Park(std::unique_ptr<Conversation> conversation, Conversation::Wants wants);

    // Waits for a conversation that can go on. Null after Close, once the replies that
    // were under way are sent.
    std::unique_ptr<Conversation> Next();

    // Drops the clients that have not sent a whole request.
    void Close();

private:
    using Place = std::pair<Conversation::Clock::time_point, int>; // the deadline, the socket
    std::unique_ptr<Conversation> Take(int socket);
    std::unique_ptr<Conversation> TakeLate();
    void MakeRoom();
    void SetTimer();
    bool IsOver();

    const std::size_t m_most, m_mostWeight;
    Agent::Descriptor m_epoll;
    Agent::Descriptor m_timer;
    Agent::Descriptor m_end;
    std::mutex m_mutex;
    bool m_closed = false;
    std::size_t m_weight = 0;
    Conversation::Clock::time_point m_alarm; // what the timer is set to
    std::set<Place> m_order;
    std::map<int, std::unique_ptr<Conversation>> m_parked;
};
