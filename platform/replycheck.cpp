// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/replycheck.h"

#include "base/base64.h"
#include "base/requestname.h"
#include "base/text.h"
#include "platform/seendates.h"
#include "platform/signature.h"
#include "platform/statusreader.h"

#include <algorithm>
#include <apt-pkg/error.h>
#include <apt-pkg/fileutl.h>
#include <apt-pkg/hashes.h>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <unistd.h>

using namespace Agent;

namespace
{

constexpr std::time_t clockError = 10 * 60; // seconds that the clocks may differ
constexpr int refused = 100;

// "http://host:port" of an address.
std::string ServerOf(const std::string& url)
{
    const auto scheme = url.find("://");
    return RequestName(url.substr(0, url.find('/', scheme == std::string::npos ? 0 : scheme + 3)));
}

std::string Sha256Of(const std::string& text)
{
    Hashes hashes(Hashes::SHA256SUM);
    hashes.Add(reinterpret_cast<const unsigned char*>(text.data()), text.size());
    return hashes.GetHashStringList().find("SHA256")->HashValue();
}

ReplyFault Fault(const char* code, const std::string& server, const std::string& why)
{
    return {
        code, "The store " + Quoted(server) + " is refused: " + why + (why.back() == '?' ? "" : ".")
    };
}

// Takes the text and its signature out of the statement that came.
bool Divide(const std::string& statement, std::string& text, std::string& signature)
{
    const auto blank = statement.find(' ');
    return blank != std::string::npos && FromBase64(statement.substr(0, blank), text)
        && FromBase64(statement.substr(blank + 1), signature) && !signature.empty();
}

ReplyFault SignatureFault(SignatureState state, const TrustedStore& store,
                          const std::string& server, const std::string& why)
{
    const std::string words = why.empty() ? std::string() : " (" + Quoted(why) + ')';
    switch (state) {
    case SignatureState::Good:
        return {};
    case SignatureState::KeyExpired:
        return Fault("key-expired", server,
                     "the key of its reply has expired or is revoked. If the store has a new "
                     "one, an administrator can add it to "
                         + store.keyFile + words);
    case SignatureState::Wrong:
        return Fault("wrong-key", server,
                     "its reply is not signed with its key. If the store has a new one, an "
                     "administrator can add it to "
                         + store.keyFile + words);
    case SignatureState::Unknown:
        break;
    }
    return Fault("not-checked", server,
                 "the signature of its reply cannot be checked. Please install gpgv or sqv"
                     + words);
}

// What the signed text says, against what was asked for and what came.
ReplyFault ContentFault(const ReplyStatement& signedOne, const ReceivedReply& reply,
                        const TrustedStore& store, const std::string& server)
{
    if (signedOne.origin != store.expected.origin)
        return Fault("other-store", server,
                     "its reply is signed for another store, " + Quoted(signedOne.origin)
                         + " instead of " + Quoted(store.expected.origin));
    if (signedOne.request != Sha256Of(RequestName(reply.request)))
        return Fault("other-request", server,
                     "its reply belongs to another request. Please try again");
    if (signedOne.size != reply.size || signedOne.sha256 != reply.sha256)
        return Fault("altered", server,
                     "its reply was altered on the way. Please try again, in another network "
                     "if there is one");
    return {};
}

ReplyFault DateFault(const ReplyStatement& signedOne, std::time_t newest, std::time_t maxAge,
                     const std::string& server)
{
    const std::time_t now = std::time(nullptr);
    const std::string date = DateText(signedOne.date);
    if (signedOne.date > now + clockError)
        return Fault("future", server,
                     "its reply is of the future, " + date + ". Is this machine's clock right?");
    if (now > std::min(signedOne.validUntil, signedOne.date + maxAge))
        return Fault("expired", server,
                     "its reply of " + date
                         + " has expired, and may be stale. Is this machine's "
                           "clock right?");
    if (signedOne.date < newest)
        return Fault("older", server,
                     "its reply of " + date + " is older than that of " + DateText(newest)
                         + ", which this machine has already seen. Please try again later");
    return {};
}

// Against one store of the server. A date that has been noted is that of a reply without fault.
ReplyFault CheckAgainst(const TrustedStore& store, const ReceivedReply& reply,
                        const StoreSettings& settings, const std::string& server)
{
    std::string text, signature, why;
    ReplyStatement signedOne;
    if (!Divide(reply.statement, text, signature))
        return Fault("not-understood", server, "the signature of its reply cannot be understood");
    ReplyFault fault
        = SignatureFault(CheckSignature(text, signature, store.keyFile, why), store, server, why);
    if (!fault.code.empty())
        return fault;
    if (!ReadStatement(text, signedOne))
        return Fault("not-understood", server, "what it has signed cannot be understood");
    fault = ContentFault(signedOne, reply, store, server);
    if (!fault.code.empty())
        return fault;
    std::time_t newest = 0;
    for (const std::string& folder : reply.seenFolders)
        newest = std::max(newest, SeenDates(folder).Newest(signedOne.origin, reply.started));
    fault = DateFault(signedOne, newest, settings.maxAge, server);
    if (fault.code.empty() && !reply.seenFolders.empty())
        SeenDates(reply.seenFolders.front()).Note(signedOne.origin, signedOne.date);
    return fault;
}

// The value of the next line if it is the field `name`.
bool TakeField(std::istream& lines, const char* name, std::string& value)
{
    std::string line;
    const std::string begin = std::string(name) + ": ";
    if (!std::getline(lines, line) || lines.eof() || !BeginsWith(line, begin))
        return false;
    value = line.substr(begin.size());
    return !value.empty();
}

// The sum of what comes on standard input.
bool TakeReply(ReceivedReply& reply)
{
    FileFd input;
    Hashes hashes(Hashes::SHA256SUM);
    const bool read = input.OpenDescriptor(dup(STDIN_FILENO), FileFd::ReadOnly, FileFd::None, true)
        && hashes.AddFD(input);
    _error->Discard();
    if (!read)
        return false;
    const HashStringList sums = hashes.GetHashStringList();
    reply.size = sums.FileSize();
    reply.sha256 = sums.find("SHA256")->HashValue();
    return true;
}

// The sum and size of a reply that was checked earlier.
bool TakeSum(const std::string& sha256, const std::string& size, ReceivedReply& reply)
{
    reply.sha256 = sha256;
    reply.size = std::strtoull(size.c_str(), nullptr, 10);
    return !sha256.empty() && IsMadeOf(size, IsDigit, "") && size.size() < 19;
}

} // namespace

bool ReadStatement(const std::string& text, ReplyStatement& statement)
{
    std::istringstream lines(text);
    std::string date, validUntil, size;
    if (!TakeField(lines, "Origin", statement.origin)
        || !TakeField(lines, "Request", statement.request) || !TakeField(lines, "Date", date)
        || !TakeField(lines, "Valid-Until", validUntil) || !TakeField(lines, "Size", size)
        || !TakeField(lines, "SHA256", statement.sha256)
        || lines.peek() != std::istringstream::traits_type::eof())
        return false;
    statement.date = ParseDate(date);
    statement.validUntil = ParseDate(validUntil);
    statement.size = std::strtoull(size.c_str(), nullptr, 10);
    return statement.date > 0 && statement.validUntil > 0 && IsMadeOf(size, IsDigit, "")
        && size.size() < 19;
}

ReplyFault CheckReply(const ReceivedReply& reply, const StorePolicy& policy)
{
    const std::string server = ServerOf(reply.request);
    ReplyFault fault = Fault("unknown-store", server,
                             "no key for its replies is known to this machine. An administrator "
                             "can add the store and its key to /etc/pakmart/stores.d");
    for (const std::string& one : policy.faults)
        fault.sentence += " (" + one + ".)";
    for (const TrustedStore& store : policy.stores) {
        if (ServerOf(store.replies) != server)
            continue;
        if (reply.statement.empty())
            return Fault(
                "unsigned", server,
                std::string("its reply has no signature. If the store signs nothing, an "
                            "administrator can allow that with RequireSignedReplies=no in ")
                    + storeSettingsFile);
        fault = CheckAgainst(store, reply, policy.settings, server);
        if (fault.code.empty())
            break;
    }
    return fault;
}

int RunReplyCheck(const std::vector<std::string>& words, const std::string& root)
{
    const bool isThere = !words.empty() && words[0] == "--verify-reply";
    const bool isKnown = words.size() > 2 && words[0] == "--verify-unchanged";
    const std::size_t at = isKnown ? 3 : 1; // of the request
    if ((!isThere && !isKnown) || words.size() < at + 3)
        return -1;
    ReceivedReply reply;
    reply.request = words[at];
    reply.statement = words[at + 1];
    reply.started = std::strtoll(words[at + 2].c_str(), nullptr, 10);
    reply.seenFolders.assign(words.begin() + std::ptrdiff_t(at) + 3, words.end());
    const ReplyFault fault = (isKnown ? TakeSum(words[1], words[2], reply) : TakeReply(reply))
        ? CheckReply(reply, ReadStorePolicy(root))
        : ReplyFault{ "not-checked", "The reply of the store cannot be read." };
    if (fault.code.empty())
        return 0;
    std::cout << "F: " << fault.code << "\nE: " << PlainText(fault.sentence) << std::endl;
    return refused;
}
