// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What clients, and caches on the way, may keep of a reply, and the short answer to those who
// have it already.

#pragma once

#include <string>

struct HttpReply;
struct HttpRequest;

// Whether the client has the content with this mark (ETag), by its If-None-Match.
bool HasAlready(const HttpRequest& request, const std::string& mark);

// A reply that is another for each client: it is kept nowhere.
void ForbidKeeping(HttpReply& reply);

// A reply with content that may be kept, and is asked for again each time: it gets a mark of its
// content, and a client that has it gets status 304.
void AllowKeeping(const HttpRequest& request, HttpReply& reply);
