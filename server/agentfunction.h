// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The functions of the server, and how each comes to be one.
//
// A function is a source file of its own that registers a handler:
//
//     void Answer(const AgentRequest& request, Reply& reply) { ... }
//     const AgentFunction function("CAPIGetSomething", Answer);
//
// It is then served at /agent/CAPIGetSomething and listed in the directory.

#pragma once

#include "query.h"
#include "store.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

// The content of a reply's envelope, built from the outside in.
class Reply
{
public:
    using Attributes = std::map<std::string, std::string>;

    explicit Reply(std::string beginning) : m_xml(std::move(beginning)) { }

    void open(const std::string& name, const Attributes& attributes = {});
    void close();

    // An element whose text the client decodes.
    void text(const std::string& name, const std::string& value, const Attributes& attributes = {});
    // An element whose text the client takes as it stands.
    void plainText(const std::string& name, const std::string& value);

    // The whole, with `end` behind it; the reply is empty then.
    std::string take(const std::string& end) { return std::move(m_xml.append(end)); }

private:
    void start(const std::string& name, const Attributes& attributes);
    void end(const std::string& name);

    std::string m_xml;
    std::vector<std::string> m_open;
};

struct AgentRequest {
    const Query& query;
    const std::string& address; // of this server as the client sees it: http://HOST:PORT
    Store& store;
};

class AgentFunction
{
public:
    // Throws RequestError for what cannot be answered.
    using Handler = void (*)(const AgentRequest& request, Reply& reply);

    AgentFunction(const std::string& name, Handler handler);

    // All functions by their names.
    static const std::map<std::string, Handler>& all();

    // Where the functions are, for AgentRequest::address in front and the name behind.
    static const char* path() { return "/agent/"; }
};

// The whole reply document, of a handler that does not throw or throws; a
// broken store is a failed call as well.
std::string Answer(AgentFunction::Handler handler, const AgentRequest& request);

// The reply document of a call that failed.
std::string FailedReply(const std::string& message);

// The handler of the directory, which has an address of its own.
void AnswerDirectory(const AgentRequest& request, Reply& reply);
