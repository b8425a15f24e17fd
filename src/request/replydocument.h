// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// From the text of a server's reply to a document, if the text is fit for it.

#pragma once

#include "request/transferlimits.h"
#include "request/xmlgate.h"

#include <QString>
#include <cstdint>
#include <functional>

class QDomDocument;
class QIODevice;

namespace Agent
{

// Asked now and then while a text is read; false ends the reading.
using GoOn = std::function<bool()>;

// Parses a reply into `document`, which the caller has made (and named). False,
// and an empty document, when the text is refused before it is parsed (see
// xmlgate.h), is not well formed, or cannot be read; `why` says what was wrong. A
// text over 64 KB is read twice, a piece at a time. The device must be open for
// reading and not sequential, and is read from its beginning.
bool ReadReplyDocument(const QString& fileName, QDomDocument& document);
bool ReadReplyDocument(QIODevice& device, QDomDocument& document,
                       std::uint64_t maxBytes = ReadTransferLimits().size, QString* why = nullptr,
                       const GoOn& goOn = GoOn(), XmlGate::Use use = XmlGate::Use::Document);

// Reads back what was kept of a reply (see savedtree.h). The limits are those of the
// reply, which the escapes of the file make several times as long.
bool ReadSavedDocument(const QString& fileName, QDomDocument& document);

// The first half of it: whether the text of `device`, read in pieces of
// `chunk` bytes, may be parsed.
bool PassesGate(QIODevice& device, std::uint64_t maxBytes, int chunk = 64 * 1024);

} // namespace Agent
