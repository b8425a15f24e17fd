// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Reads a reply that was checked (replydocument.h) a piece at a time, so that the memory does
// not depend on its length: a document of a large catalog takes ten times the reply.
//
// The first element of the envelope is divided: it and those of its children that the taker
// divides come without their children, and then all these one by one, each as a small tree
// with the nodes that a document would have.

#pragma once

#include "request/replydocument.h"
#include "request/replynode.h"

#include <cstddef>

class QIODevice;

namespace Agent
{

// What bounds the memory, since the gate does not count the nodes of pieces. A product has some
// twenty.
constexpr std::size_t mostPieceNodes = 100'000;

class PieceTaker
{
public:
    virtual ~PieceTaker() = default;

    // Whether a child of the first element is divided, too.
    virtual bool Divides(const ReplyNode& element) = 0;
    // A divided element, with its attributes only; then its pieces; then its end.
    virtual void Start(const ReplyNode& element) = 0;
    virtual void Take(const ReplyNode& piece) = 0;
    virtual void End() = 0;
};

// The device must be open for reading and not sequential; it is read from its beginning.
// False, and the taker has got a part of it,
// - when it is not an envelope with an element whose result is "OK", or not well formed;
// - when a piece has more than mostPieceNodes elements, attributes and other nodes;
// - when a divided element has other children than elements, or these are not in the order of
//   their names, so that a program that writes them sorted would have to see all before;
// - when `goOn`, which is called between the pieces, returns false.
bool ReadPieces(QIODevice& device, PieceTaker& taker, const GoOn& goOn);

} // namespace Agent
