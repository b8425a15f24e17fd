// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The functions of the server. A function is a handler and its row in the table of
// functions.cpp; it is then served at /agent/NAME and listed in the directory.
//
// Five files answer a call: httpserver.cpp takes the request to its function, functions.cpp
// has the handler, store.h what the store offers it, shelves.cpp how the store's files are
// parsed, and reply.cpp how the document is written.

#pragma once

#include "httpmessage.h"
#include "personaldata.h"
#include "reply.h"
#include "store.h"

#include <map>
#include <stdexcept>
#include <string>

struct AgentRequest {
    const Query& query;
    const std::string& address; // of this server as the client sees it: http://HOST:PORT
    Store& store;
    PersonalData& personal;
    bool isSigned; // whether the repositories are
};

// What a reply needs cannot be had now, but may be a little later.
class AwayError : public std::runtime_error
{
    using runtime_error::runtime_error;
};

// Throws RequestError for what cannot be answered.
using Handler = void (*)(const AgentRequest& request, Reply& reply);

struct Function {
    Handler handler = nullptr; // null: there is no such function
    bool isSameForAll = false; // the reply depends on the store alone
    bool isPersonal = false; // it depends on who asks, or the call changes something
    bool (*isIn)(Store& store) = nullptr; // whether a store has it; null: each store

    bool IsIn(Store& store) const { return handler && (!isIn || isIn(store)); }
};

// The table: all functions by their names.
std::map<std::string, Function>& Functions();

// The function at a path, or the directory.
Function FindFunction(const std::string& path);

// The whole reply document. What cannot be answered is a call that failed, and so is a
// broken store. Throws AwayError.
std::string Answer(Handler handler, const AgentRequest& request);
