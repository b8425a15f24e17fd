// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "waitingroom.h"

#include "storefile.h"

#include <cerrno>
#include <cstring>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <thread>
#include <vector>

using Agent::Descriptor;

namespace
{

const std::chrono::milliseconds endPause(20);

bool Watch(const Descriptor& epoll, int action, int fd, std::uint32_t events)
{
    epoll_event event = {};
    event.events = events;
    event.data.fd = fd;
    return epoll_ctl(epoll.Get(), action, fd, &event) == 0;
}

} // namespace

// The timer wakes one thread at a time, the end wakes all.
WaitingRoom::WaitingRoom(std::size_t most, std::size_t mostWeight)
    : m_most(most), m_mostWeight(mostWeight), m_epoll(epoll_create1(EPOLL_CLOEXEC)),
      m_timer(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC)),
      m_end(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)), m_alarm(Conversation::Clock::time_point::max())
{
    if (!m_epoll || !m_timer || !m_end
        || !Watch(m_epoll, EPOLL_CTL_ADD, m_timer.Get(), EPOLLIN | EPOLLET)
        || !Watch(m_epoll, EPOLL_CTL_ADD, m_end.Get(), EPOLLIN))
        throw StoreError(std::string("cannot wait for clients: ") + std::strerror(errno));
}

void WaitingRoom::Park(std::unique_ptr<Conversation> conversation, Conversation::Wants wants)
{
    const int socket = conversation->Socket();
    const std::uint32_t events
        = EPOLLONESHOT | (wants == Conversation::Wants::Input ? EPOLLIN | EPOLLRDHUP : EPOLLOUT);
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_closed && !conversation->IsReplying())
        return;
    m_weight += conversation->Weight();
    const Place place(conversation->Deadline(), socket);
    m_parked[socket] = std::move(conversation);
    m_order.insert(place);
    if (!Watch(m_epoll, EPOLL_CTL_ADD, socket, events)
        && (errno != EEXIST || !Watch(m_epoll, EPOLL_CTL_MOD, socket, events)))
        Take(socket); // there is no memory to wait for it
    MakeRoom();
    SetTimer();
}

void WaitingRoom::MakeRoom()
{
    while (m_order.size() > m_most || (m_weight > m_mostWeight && m_order.size() > 1))
        Take(m_order.begin()->second);
}

// Sets the timer to the first deadline, if it is not set to an earlier time.
void WaitingRoom::SetTimer()
{
    if (m_order.empty() || m_order.begin()->first >= m_alarm)
        return;
    m_alarm = m_order.begin()->first;
    const auto since
        = std::chrono::duration_cast<std::chrono::nanoseconds>(m_alarm.time_since_epoch());
    itimerspec when = {};
    when.it_value.tv_sec = time_t(since.count() / 1000000000);
    when.it_value.tv_nsec = long(since.count() % 1000000000);
    timerfd_settime(m_timer.Get(), TFD_TIMER_ABSTIME, &when, nullptr);
}

// A number can have been given to a later connection since the event: that is resumed early
// then, and waits again.
std::unique_ptr<Conversation> WaitingRoom::Take(int socket)
{
    const auto found = m_parked.find(socket);
    if (found == m_parked.end())
        return nullptr;
    std::unique_ptr<Conversation> conversation = std::move(found->second);
    m_parked.erase(found);
    m_order.erase({ conversation->Deadline(), socket });
    m_weight -= conversation->Weight();
    return conversation;
}

// The next conversation whose time is over. The timer is set for the one after it, which
// another thread takes.
std::unique_ptr<Conversation> WaitingRoom::TakeLate()
{
    std::unique_ptr<Conversation> late;
    m_alarm = Conversation::Clock::time_point::max();
    if (!m_order.empty() && m_order.begin()->first <= Conversation::Clock::now())
        late = Take(m_order.begin()->second);
    SetTimer();
    return late && late->Renew() ? std::move(late) : nullptr;
}

bool WaitingRoom::IsOver()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_closed && m_parked.empty();
}

std::unique_ptr<Conversation> WaitingRoom::Next()
{
    while (!IsOver()) {
        epoll_event event = {};
        if (epoll_wait(m_epoll.Get(), &event, 1, -1) <= 0)
            continue;
        if (event.data.fd == m_end.Get()) {
            std::this_thread::sleep_for(endPause); // for the last replies
            continue;
        }
        const std::lock_guard<std::mutex> lock(m_mutex);
        auto ready = event.data.fd == m_timer.Get() ? TakeLate() : Take(event.data.fd);
        if (ready)
            return ready;
    }
    return nullptr;
}

void WaitingRoom::Close()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_closed = true;
    std::vector<int> sockets;
    for (const auto& [socket, conversation] : m_parked) {
        if (!conversation->IsReplying())
            sockets.push_back(socket);
    }
    for (const int socket : sockets)
        Take(socket);
    eventfd_write(m_end.Get(), 1);
}
