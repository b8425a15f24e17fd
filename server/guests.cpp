// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "guests.h"

#include <arpa/inet.h>
#include <array>
#include <netinet/in.h>

namespace
{

const std::size_t networkBytes = 8; // of an IPv6 address

const in6_addr& V6(const sockaddr_storage& address)
{
    return reinterpret_cast<const sockaddr_in6&>(address).sin6_addr;
}

// The four bytes of an IPv4 address, also of one that is written as IPv6.
std::string V4Bytes(const sockaddr_storage& address)
{
    if (address.ss_family == AF_INET) {
        const in_addr& v4 = reinterpret_cast<const sockaddr_in&>(address).sin_addr;
        return { reinterpret_cast<const char*>(&v4), sizeof v4 };
    }
    const auto* bytes = reinterpret_cast<const char*>(&V6(address));
    return IN6_IS_ADDR_V4MAPPED(&V6(address)) ? std::string(bytes + 12, 4) : std::string();
}

std::string KeyOf(const sockaddr_storage& address)
{
    const std::string v4 = V4Bytes(address);
    return v4.empty() ? std::string(reinterpret_cast<const char*>(&V6(address)), networkBytes) : v4;
}

} // namespace

std::shared_ptr<void> Guests::Admit(const sockaddr_storage& address)
{
    const std::string key = KeyOf(address);
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        std::size_t& count = m_counts[key];
        if (m_most > 0 && count >= m_most)
            return nullptr;
        ++count;
    }
    return { this, [this, key](void*) { Leave(key); } };
}

void Guests::Leave(const std::string& key)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_counts.find(key);
    if (found != m_counts.end() && --found->second == 0)
        m_counts.erase(found);
}

std::string AddressText(const sockaddr_storage& address)
{
    std::array<char, INET6_ADDRSTRLEN> text{};
    const std::string v4 = V4Bytes(address);
    if (v4.empty())
        inet_ntop(AF_INET6, &V6(address), text.data(), text.size());
    else
        inet_ntop(AF_INET, v4.data(), text.data(), text.size());
    return text.data();
}

bool IsAddress(const std::string& text)
{
    std::array<unsigned char, sizeof(in6_addr)> bytes;
    return inet_pton(AF_INET, text.c_str(), bytes.data()) == 1
        || inet_pton(AF_INET6, text.c_str(), bytes.data()) == 1;
}
