// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What a server has done since it started, counted for Prometheus in its text format, version
// 0.0.4. Clients cannot make it larger: a kind is one of a few words.

#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <map>
#include <mutex>
#include <string>
#include <utility>

class Metrics
{
public:
    // A request of this kind has ended, and so many bytes of content were sent.
    void AddRequest(const std::string& kind, int status, std::size_t bytes);
    // So long it took to make the answer, without the client's part.
    void AddAnswer(const std::string& kind, std::chrono::steady_clock::duration taken);

    std::string Text() const;

private:
    static constexpr std::array<const char*, 6> limits{ "0.001", "0.01", "0.1", "1", "10", "+Inf" };
    struct Answers {
        std::array<std::uint64_t, limits.size()> upTo{};
        std::uint64_t count = 0;
        double seconds = 0;
    };
    static void Write(const std::string& kind, const Answers& answers, std::string& text);

    const std::time_t m_start = std::time(nullptr);
    mutable std::mutex m_mutex;
    std::map<std::pair<std::string, int>, std::uint64_t> m_requests; // by kind and status
    std::map<std::string, Answers> m_answers; // by kind
    std::uint64_t m_bytes = 0;
};

// The kind of request that a path is: the name of a function, "directory", "pool", "status" or
// "other".
std::string KindOf(const std::string& target);
