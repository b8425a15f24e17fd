// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The statements with which replies are signed: a header with a short text about the reply, and
// the signature of that text. docs/server-protocol.md describes it.
//
// All statements have the same date, which clients hold against replies of older states. A new
// one begins when a reply is not what it was at that date, and each day; or, where several servers
// serve the store, when the date that they share does (shareddate.h). So a reply is signed once,
// however often it is asked for, until the store changes.

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

    // What is asked for.
    struct Wish {
        std::string url;
        bool isAnyHost; // whether the client has chosen the host of that address
        std::time_t shared; // the date before the reply was made; 0: this server has its own
    };

    // Adds its statement to the reply. If it cannot be signed, there is none, and a line on
    // standard error says why. False if too many requests wait for signatures already: the
    // client has to ask again.
    bool Cover(const Wish& wish, HttpReply& reply);

private:
    struct Statement {
        std::string sha256; // of the reply
        std::string header;
    };
    // A reply to be signed.
    struct Subject {
        std::string name; // of the request
        std::string sha256;
        std::size_t size;
        std::time_t shared;
    };
    // Requests that wait for each other's signatures.
    struct Queue {
        std::mutex turn;
        std::atomic<int> waiting{ 0 };
    };

    bool IsOver(std::time_t shared, bool isChanged) const;
    void Begin(std::time_t shared);
    void ReportSameDate();
    std::time_t Find(const Subject& subject, std::string& header);
    std::string Sign(const Subject& subject);
    std::string Make(const Subject& subject, std::time_t date) const;

    const Signer& m_signer;
    const std::string m_origin;
    std::mutex m_mutex; // for the date and the statements
    std::time_t m_date = 0;
    std::time_t m_begun = 0; // when that date began
    bool m_isReported = false; // that a reply has changed at that date
    std::map<std::string, Statement> m_statements; // by the names of the requests
    // Those with arguments have a queue of their own, so that the catalog and the like do not
    // wait for them.
    Queue m_plain, m_queries;
};
