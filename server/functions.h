// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The functions of the store server: from a query to a reply.

#pragma once

#include "server/store.h"

#include <string>
#include <vector>

// One function: the name by which the directory lists it, the path that serves
// it, and what answers it.
struct Function {
    const char* name;
    const char* path;
    // `target`: the request's path and query. `address`: the server's own, such
    // as "http://127.0.0.1:8080". Returns the content of the envelope; throws
    // FunctionError with a text for the user, or StoreError.
    std::string (*answer)(const Store& store, const std::string& target,
                          const std::string& address);
};

class FunctionError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// All functions but the directory itself. A new one is a line in this table.
const std::vector<Function>& Functions();

// The content of the directory's reply.
std::string Directory(const std::string& address);

// A whole reply.
std::string OkReply(const std::string& content);
std::string FailedReply(const std::string& text);
