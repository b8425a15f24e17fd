// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// CAPIGetNews, ?count=NUMBER: the headlines of the store.

#include "server/functions.h"

#include <cstdlib>

void AnswerNews(const AgentRequest& request, Reply& reply)
{
    const auto counts = request.query.Values("count");
    int left = counts.empty() ? 1 : std::atoi(counts.front().decoded.c_str());
    // A real one would read them from a file of the store.
    for (const char* headline : { "Star Lander 2 is here", "C++ for 5% less", "Möbius strips" }) {
        if (left-- > 0)
            reply.Text("headline", headline);
    }
}
