// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Turns the text of a server's reply into a document, if the text passes the gate.

#pragma once

#include "request/transfer.h"
#include "request/xmlgate.h"

#include <QString>
#include <cstdint>
#include <functional>

class QDomDocument;
class QIODevice;
class QXmlStreamReader;

namespace Agent
{

// Called now and then while a text is read; returning false ends the reading.
using GoOn = std::function<bool()>;

// Parses a reply into `document`, which the caller has made (and named). False,
// and an empty document, when the text is refused before it is parsed (see
// xmlgate.h), is not well formed, or cannot be read; `why` gets the reason. A
// text over 64 KB is read twice, a piece at a time. The device must be open for
// reading and not sequential; it is read from its beginning.
bool ReadReplyDocument(const QString& fileName, QDomDocument& document);
bool ReadReplyDocument(QIODevice& device, QDomDocument& document,
                       std::uint64_t maxBytes = ReadTransferLimits().size, QString* why = nullptr,
                       const GoOn& goOn = GoOn(), XmlGate::Use use = XmlGate::Use::Document);

// Reads back the saved part of a reply (see savedtree.h). The limits are those of the
// reply, several times as long because of the file's escapes.
bool ReadSavedDocument(const QString& fileName, QDomDocument& document);

// Called after each step of the parser.
using TakeToken = std::function<void(const QXmlStreamReader& reader)>;

// The same without a document. After a text that is refused only by the parser, `take` has been
// given the part before the error.
bool ReadSavedTokens(const QString& fileName, const TakeToken& take);

// The first half of reading a reply: whether the text of `device`, read in pieces
// of `chunk` bytes, may be parsed.
bool PassesGate(QIODevice& device, std::uint64_t maxBytes, int chunk = 64 * 1024);
// The same for a reply that is to be read in pieces. A refused one may still be read as a document,
// which then logs the refusal.
bool MayBeReadInPieces(QIODevice& device, std::uint64_t maxBytes, const GoOn& goOn);

} // namespace Agent
