// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The row that a real function has in the table of server/functions.cpp.

#include "server/functions.h"

void AnswerNews(const AgentRequest& request, Reply& reply);

const bool isListed = Functions().emplace("CAPIGetNews", Function{ AnswerNews }).second;
