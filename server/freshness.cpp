// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "freshness.h"

#include "httpmessage.h"

#include <algorithm>

namespace
{

const char blanks[] = " \t";
const std::size_t markLength = 32; // of the digits of the sum

std::string Trimmed(const std::string& text)
{
    const auto first = text.find_first_not_of(blanks);
    return first == std::string::npos
        ? std::string()
        : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// A mark without the sign for "the same, if perhaps packed otherwise".
std::string Opaque(const std::string& mark)
{
    return mark.compare(0, 2, "W/") == 0 ? mark.substr(2) : mark;
}

} // namespace

bool HasAlready(const HttpRequest& request, const std::string& mark)
{
    const std::string marks = request.Header("If-None-Match");
    for (std::size_t start = 0; start < marks.size();) {
        const std::size_t end = std::min(marks.find(',', start), marks.size());
        const std::string one = Trimmed(marks.substr(start, end - start));
        if (one == "*" || Opaque(one) == Opaque(mark))
            return true;
        start = end + 1;
    }
    return false;
}

void ForbidKeeping(HttpReply& reply)
{
    reply.Add("Cache-Control", "no-store");
}

// The mark is that of the content, plain or packed.
void AllowKeeping(const HttpRequest& request, HttpReply& reply)
{
    if (reply.status != 200)
        return;
    const std::string mark = "W/\"" + reply.content->Sha256().substr(0, markLength) + '"';
    reply.Add("ETag", mark);
    reply.Add("Cache-Control", "no-cache");
    if (HasAlready(request, mark)) {
        reply.status = 304;
        reply.Drop("Content-Type"); // of content that does not come
    }
}
