// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// How many connections each client address has.

#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <sys/socket.h>

class Guests
{
public:
    // At most `most` for an address; 0 for no limit.
    explicit Guests(std::size_t most) : m_most(most) { }

    // A connection's place, given back with the last copy. Null if the address has as many
    // as it may. IPv6 addresses of one network (/64) count as one, since a client has them all.
    std::shared_ptr<void> Admit(const sockaddr_storage& address);

private:
    void Leave(const std::string& key);

    const std::size_t m_most;
    std::mutex m_mutex;
    std::map<std::string, std::size_t> m_counts;
};

// The address as people write it.
std::string AddressText(const sockaddr_storage& address);

// True for the number of an address, as AddressText writes it.
bool IsAddress(const std::string& text);
