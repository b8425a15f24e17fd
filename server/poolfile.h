// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A file of the package pool as an HTTP reply.

#pragma once

#include "httpmessage.h"

#include <string>

// Answers a GET or HEAD for the file `path` below `pool`: whole, in part for a
// byte range (a client goes on with an interrupted download so), or not at all
// when it has not changed since the client got it. Status 404 when there is no
// such file, or none that may be shown.
void ServePoolFile(const std::string& pool, const std::string& path, const HttpRequest& request,
                   HttpReply& reply);
