// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A reply that was taken earlier, and whether it would still be the same: one request with its
// mark (ETag), to which the server sends no content.

#pragma once

#include "request/replydocument.h"

#include <QString>

namespace Agent
{

struct TakenReply {
    QString url; // that was asked for
    QString mark; // as the server wrote it; empty if the reply has none that can be sent back
    // What was signed about the reply; empty and 0 if nothing was.
    QString sha256;
    qint64 size = 0; // bytes
};

// Of a reply whose signature, if it has to have one, was checked.
TakenReply MakeTakenReply(const QString& sURL, const QString& sMark, const QString& sStatement);

// Whether the server says so, and has signed that now if replies have to be signed. False
// whatever goes wrong: the caller then asks for the reply. Passes events while `goOn` returns true.
bool IsUnchanged(const TakenReply& reply, const GoOn& goOn);

} // namespace Agent
