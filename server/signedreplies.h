// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The statements with which replies are signed: a header with a short text about the reply, and
// the signature of that text. docs/server-protocol.md describes it.
//
// All statements have the same date, which clients hold against replies of older states. A new
// one begins when a reply is not what it was at that date, and each day. So a reply is signed
// once, however often it is asked for, until the store changes.

#pragma once

#include "httpmessage.h"
#include "signer.h"

#include <atomic>
#include <ctime>
#include <map>
#include <mutex>
#include <string>

// The name of the header.
constexpr char statementHeader[] = "Pakmart-Statement";

class SignedReplies
{
public:
    SignedReplies(const Signer& signer, const std::string& origin);

    // Adds its statement to the reply to a request for this address, the host of which is one
    // that the client has chosen, or not. If it cannot be signed, there is none, and a line on
    // standard error says why. False if too many requests wait for signatures already: the
    // client has to ask again.
    bool Cover(const std::string& url, bool isAnyHost, HttpReply& reply);

private:
    struct Statement {
        std::string sha256; // of the reply
        std::string header;
    };
    // Requests that wait for each other's signatures.
    struct Queue {
        std::mutex turn;
        std::atomic<int> waiting{ 0 };
    };

    std::time_t Find(const std::string& name, const std::string& sha256, std::string& header);
    void Begin();
    std::string Sign(const std::string& name, const std::string& sha256, std::size_t size);
    std::string Make(const std::string& name, const std::string& sha256, std::size_t size,
                     std::time_t date) const;

    const Signer& m_signer;
    const std::string m_origin;
    std::mutex m_mutex; // for the date and the statements
    std::time_t m_date = 0;
    std::time_t m_begun = 0; // when that date began
    std::map<std::string, Statement> m_statements; // by the names of the requests
    // Those with arguments have a queue of their own, so that the catalog and the like do not
    // wait for them.
    Queue m_plain, m_queries;
};
