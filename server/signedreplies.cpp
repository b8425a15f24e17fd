// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "signedreplies.h"

#include "base/base64.h"
#include "base/requestname.h"
#include "signedpool.h"

#include <algorithm>
#include <iostream>

using namespace Agent;

namespace
{

constexpr std::time_t day = 24 * 60 * 60;
constexpr std::time_t valid = 7 * day;
constexpr std::size_t mostStatements = 4096;
constexpr int mostWaiting = 16; // in a queue; a quarter of the threads that serve

// One of those who wait, while it exists.
class Waiting
{
public:
    explicit Waiting(std::atomic<int>& count) : m_count(count), m_isTooMany(++count > mostWaiting)
    {
    }
    ~Waiting() { --m_count; }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;

    bool IsTooMany() const { return m_isTooMany; }

private:
    std::atomic<int>& m_count;
    const bool m_isTooMany;
};

} // namespace

SignedReplies::SignedReplies(const Signer& signer, const std::string& origin)
    : m_signer(signer), m_origin(origin)
{
}

// A date is that of the clock, but never one that other replies had before.
void SignedReplies::Begin()
{
    m_begun = std::time(nullptr);
    m_date = std::max(m_begun, m_date + 1);
    m_statements.clear();
}

// Finds the statement of a reply. Returns the present date.
std::time_t SignedReplies::Find(const std::string& name, const std::string& sha256,
                                std::string& header)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const std::time_t age = std::time(nullptr) - m_begun;
    const auto found = m_statements.find(name);
    const bool isKnown = found != m_statements.end();
    if (age < 0 || age >= day || (isKnown && found->second.sha256 != sha256)
        || (!isKnown && m_statements.size() >= mostStatements))
        Begin();
    else if (isKnown)
        header = found->second.header;
    return m_date;
}

std::string SignedReplies::Make(const std::string& name, const std::string& sha256,
                                std::size_t size, std::time_t date) const
{
    const std::string text = "Origin: " + m_origin + "\nRequest: " + Sha256Of(name)
        + "\nDate: " + DateText(date) + "\nValid-Until: " + DateText(date + valid)
        + "\nSize: " + std::to_string(size) + "\nSHA256: " + sha256 + '\n';
    return ToBase64(text) + ' ' + ToBase64(m_signer.Signature(text));
}

// The statement that another request has made meanwhile, or a new one. For the one whose turn
// it is.
std::string SignedReplies::Sign(const std::string& name, const std::string& sha256,
                                std::size_t size)
{
    std::string header;
    const std::time_t date = Find(name, sha256, header);
    if (header.empty())
        header = Make(name, sha256, size, date);
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (date == m_date)
        m_statements[name] = { sha256, header };
    return header;
}

// Anybody can invent any number of queries, and of hosts where the server takes any: only some
// of these may wait. Without both there are few addresses, and many clients want the same one.
bool SignedReplies::Cover(const std::string& url, bool isAnyHost, HttpReply& reply)
try {
    const std::string name = RequestName(url), sha256 = reply.content->Sha256();
    std::string header;
    Find(name, sha256, header);
    if (header.empty()) {
        const bool isQuery = url.find('?') != std::string::npos;
        Queue& queue = isQuery ? m_queries : m_plain;
        const Waiting waiting(queue.waiting);
        if ((isQuery || isAnyHost) && waiting.IsTooMany())
            return false;
        const std::lock_guard<std::mutex> turn(queue.turn);
        header = Sign(name, sha256, reply.Body().size());
    }
    reply.Add(statementHeader, header);
    return true;
} catch (const StoreError& error) {
    std::cerr << std::string("pakmart-storeserver: ") + error.what() + '\n';
    return true;
}
