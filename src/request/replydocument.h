// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// From the text of a server's reply to a document, if the text is fit for it.

#pragma once

#include "request/transferlimits.h"

#include <QString>
#include <cstdint>

class QDomDocument;
class QIODevice;

// Parses a reply into `document`, which the caller has made (and named). False,
// and an empty document, when the text is refused before it is parsed (see
// xmlgate.h), is not well formed, or cannot be read. A text over
// 64 KB is read twice, a piece at a time. A device must be open for reading and not sequential, and
// is read from its beginning. `why` is what was wrong.
bool ReadReplyDocument(const QString& fileName, QDomDocument& document);
bool ReadReplyDocument(QIODevice& device, QDomDocument& document,
                       std::uint64_t maxBytes = ReadTransferLimits().size, QString* why = nullptr);

// The first half of it: whether the text of `device`, read in pieces of
// `chunk` bytes, may be parsed.
bool PassesGate(QIODevice& device, std::uint64_t maxBytes, int chunk = 64 * 1024,
                QString* why = nullptr);
