// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Pages for those who watch the server, and not for its clients: whether it is alive, whether it
// can answer, and what it has done.

#pragma once

#include "httpmessage.h"
#include "metrics.h"
#include "personaldata.h"
#include "store.h"

#include <string>

// /status/health, /status/ready or /status/metrics.
bool IsStatusPath(const std::string& path);

// Whether a client may see them: it is on this machine, or has the address `monitor`, and
// no proxy has passed its request on.
bool IsWatcher(const std::string& address, const std::string& monitor, const HttpRequest& request);

// Fills the reply to a request for such a path. Ready: what every function needs can be read.
void ServeStatus(const std::string& path, Store& store, PersonalData& personal,
                 const Metrics& metrics, HttpReply& reply);
