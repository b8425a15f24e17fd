// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// From the text of a server's reply to a document, if the text is fit for it.

#pragma once

#include <QString>
#include <cstdint>

class QDomDocument;
class QIODevice;

// What a reply may have, in bytes: the setting "max reply size", or 256 MB
// where it is missing or not positive.
std::uint64_t MaxReplySize();

// Parses a reply into `document`, which the caller has made (and named). False,
// and an empty document, when the text is refused before it is parsed (see
// xmlgate.h), is not well formed, or cannot be read. The text is read twice,
// a piece at a time: a device must be open for reading and not sequential, and
// is read from its beginning.
bool ReadReplyDocument(const QString& fileName, QDomDocument& document);
bool ReadReplyDocument(QIODevice& device, QDomDocument& document);

// The first half of it: whether the text of `device`, read in pieces of
// `chunk` bytes, may be parsed.
bool PassesGate(QIODevice& device, std::uint64_t maxBytes, int chunk = 64 * 1024);
