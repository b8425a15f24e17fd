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

// Whether the present date has ended.
bool SignedReplies::IsOver(std::time_t shared, bool isChanged) const
{
    const std::time_t age = std::time(nullptr) - m_begun;
    return shared != 0 ? shared != m_date : age < 0 || age >= day || isChanged;
}

// A date of this server alone is that of the clock, but never one that other replies had before.
void SignedReplies::Begin(std::time_t shared)
{
    m_begun = std::time(nullptr);
    m_isReported = m_isReported && shared == m_date;
    m_date = shared != 0 ? shared : std::max(m_begun, m_date + 1);
    m_statements.clear();
}

void SignedReplies::ReportSameDate()
{
    if (!m_isReported)
        std::cerr << "pakmart-storeserver: a reply has changed, but no file of the store is newer: "
                     "machines cannot see which is older before tomorrow; `touch products` in the "
                     "store helps\n";
    m_isReported = true;
}

// Finds the statement of a reply. Returns the present date.
std::time_t SignedReplies::Find(const Subject& subject, std::string& header)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_statements.find(subject.name);
    const bool isKnown = found != m_statements.end();
    const bool isChanged = isKnown && found->second.sha256 != subject.sha256;
    if (IsOver(subject.shared, isChanged) || (!isKnown && m_statements.size() >= mostStatements))
        Begin(subject.shared);
    else if (isChanged)
        ReportSameDate();
    else if (isKnown)
        header = found->second.header;
    return m_date;
}

std::string SignedReplies::Make(const Subject& subject, std::time_t date) const
{
    const std::string text = "Origin: " + m_origin + "\nRequest: " + Sha256Of(subject.name)
        + "\nDate: " + DateText(date) + "\nValid-Until: " + DateText(date + valid)
        + "\nSize: " + std::to_string(subject.size) + "\nSHA256: " + subject.sha256 + '\n';
    return ToBase64(text) + ' ' + ToBase64(m_signer.Signature(text));
}

// The statement that another request has made meanwhile, or a new one. For the one whose turn
// it is.
std::string SignedReplies::Sign(const Subject& subject)
{
    std::string header;
    const std::time_t date = Find(subject, header);
    if (header.empty())
        header = Make(subject, date);
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (date == m_date)
        m_statements[subject.name] = { subject.sha256, header };
    return header;
}

// Anybody can invent any number of queries, and of hosts where the server takes any: only some
// of these may wait. Without both there are few addresses, and many clients want the same one.
bool SignedReplies::Cover(const Wish& wish, HttpReply& reply)
try {
    const Subject subject{ RequestName(wish.url), reply.content->Sha256(), reply.Body().size(),
                           wish.shared };
    std::string header;
    Find(subject, header);
    if (header.empty()) {
        const bool isQuery = wish.url.find('?') != std::string::npos;
        Queue& queue = isQuery ? m_queries : m_plain;
        const Waiting waiting(queue.waiting);
        if ((isQuery || wish.isAnyHost) && waiting.IsTooMany())
            return false;
        const std::lock_guard<std::mutex> turn(queue.turn);
        header = Sign(subject);
    }
    reply.Add(statementHeader, header);
    return true;
} catch (const StoreError& error) {
    std::cerr << std::string("pakmart-storeserver: ") + error.what() + '\n';
    return true;
}
