// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The gate before the XML parser.
//
// However a text is cut into pieces, the result is the same. An accepted text makes a
// tree within the limits, even if the parser finds an error at its end. A refused one is
// not a document, or is one of those that are refused on purpose.

#include "fuzzer.h"
#include "request/replydocument.h"
#include "request/xmlgate.h"
#include "tests/request/documentcontent.h"

#include <QBuffer>
#include <algorithm>

using namespace Agent;

namespace
{

constexpr std::uint64_t unlimited = 1ull << 40;

bool Passes(const QByteArray& text, int chunk)
{
    QBuffer buffer;
    buffer.setData(text);
    buffer.open(QIODevice::ReadOnly);
    return PassesGate(buffer, unlimited, chunk);
}

// Whether a document may be refused.
bool IsRefusedOnPurpose(const QByteArray& text, const DocumentContent& content)
{
    const bool ascii
        = std::all_of(text.begin(), text.end(), [](char c) { return c > '\0' && c < 127; });
    return !ascii || text.contains("<!DOCTYPE") || text.startsWith("<?xml")
        || content.depth > XmlGate::maxDepth || text.count('=') > XmlGate::maxAttributes
        || text.size() > int(XmlGate::maxTag);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray text(reinterpret_cast<const char*>(data), int(size));
    const bool passes = Passes(text, 64 * 1024);
    for (const int chunk : { 1, 2, 7, 64 })
        Demand(Passes(text, chunk) == passes, "the pieces make no difference");

    QDomDocument document;
    const bool parses(document.setContent(text));
    const DocumentContent content(document);
    if (passes) {
        Demand(content.depth <= XmlGate::maxDepth, "a depth that a tree stands");
        Demand(content.attributes <= XmlGate::maxAttributes, "as many attributes as a tree stands");
        Demand(content.declarations == 0, "no declarations");
    } else {
        Demand(!parses || IsRefusedOnPurpose(text, content), "what is refused is no document");
    }
    return 0;
}
