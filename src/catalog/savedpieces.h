// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The file of savedtree.h, written piece by piece.

#pragma once

#include <functional>
#include <iosfwd>
#include <sys/stat.h>

namespace Agent
{

struct ReplyNode;

// An element without its children, then each of these, in the order of their names, and its
// end: together they are what the tree of the element would write.
void SaveStart(const ReplyNode& element, std::ostream& out);
void SavePiece(const ReplyNode& element, std::ostream& out);
void SaveEnd(const ReplyNode& element, std::ostream& out);

// How saving in pieces ended.
enum class Saving {
    Done,
    Failed, // the text could not be written; the old file is unchanged
    NotInPieces, // the writer has given up, or a new file cannot be made; the same
};

// Replaces the file by what `write` writes, like SaveTree, while events are processed. `write`
// returns false to give up. Nothing is rewritten in place.
//
// `own` gets the status of the new file.
Saving SavePieces(const char* name, struct stat& own,
                  const std::function<bool(std::ostream& out)>& write);

} // namespace Agent
