// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Whether a reply of the store server is what the store has signed. With a reply comes a
// statement, a short text with a signature of the store's key:
//
//     Origin: Corner shop
//     Request: SHA256 of the request's name (base/requestname.h)
//     Date: Sun, 22 Nov 2026 12:00:00 +0000
//     Valid-Until: Sun, 29 Nov 2026 12:00:00 +0000
//     Size: 1234
//     SHA256: of the reply
//
// docs/server-protocol.md describes it.

#pragma once

#include "base/storesettings.h"
#include "platform/trustedstores.h"

#include <ctime>
#include <string>
#include <vector>

struct ReplyStatement {
    std::string origin, request, sha256;
    std::time_t date = 0, validUntil = 0;
    unsigned long long size = 0;
};

// Reads exactly the six lines above; false for anything else.
bool ReadStatement(const std::string& text, ReplyStatement& statement);

// What has arrived.
struct ReceivedReply {
    std::string request; // its address with its query
    std::string statement; // "TEXT SIGNATURE", both in base 64; empty without one
    std::string sha256;
    unsigned long long size = 0;
    std::time_t started = 0; // when the transfer did
    std::vector<std::string> seenFolders; // of SeenDates; the first one is written
};

// Why a reply must not be believed.
struct ReplyFault {
    std::string code; // "altered"; empty if it can be believed
    std::string sentence;
};

ReplyFault CheckReply(const ReceivedReply& reply, const StorePolicy& policy);

// The run of the front end "--verify-reply REQUEST STATEMENT STARTED FOLDER..." with the reply
// on standard input. The exit status is 0, or apt's for errors after two lines: "F: CODE" and
// "E: SENTENCE". -1 for any other command line.
int RunReplyCheck(const std::vector<std::string>& words, const std::string& root);
