// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// What the agent keeps of a reply as a file of its data folder: the first
/// element of the body, as a tree of CXMLNode and in its written form, without
/// indentation. Hosts read such a file by ReadSavedTree:
///
///     CXMLNode aisles(nullptr);
///     if (ReadSavedTree(".aisles", aisles))
///         ... aisles.ChildArray("aisle")

#pragma once

#include "../util/export.h"

#include <QString>

class CXMLNode;
class QDomElement;

/// Where the file `name` of the data folder is, as it is to be opened.
VANTRELAGENT_EXPORT QString SavedTreePath(const char* name);

/// Reads the first element of a reply's body into `tree`; what stands before it
/// and is no element is passed over. False when there is none, or when it cannot
/// be read.
VANTRELAGENT_EXPORT bool ReadFirstElement(const QDomElement& body, CXMLNode& tree);

/// Writes `tree` to the file `name` of the data folder. A file that is there
/// keeps its permissions and, where that is allowed, its owner; a new one may be
/// written by its owner alone. ".profile" is the account's: only its owner may read it.
///
/// The new text replaces the old one in one step, once it is on the disk, so that
/// whoever reads meanwhile, or kills this process, finds the one or the other.
/// Where the folder cannot be written but the file can, it is rewritten in place
/// instead; what is found there half-written is no well-formed XML.
///
/// False, with the old file as it was, when it cannot be written (in place: when
/// it cannot be opened).
VANTRELAGENT_EXPORT bool SaveTree(CXMLNode& tree, const char* name);

/// Both steps, with the same file, but without the whole tree in memory, and with
/// events processed meanwhile; what fails is left at that.
VANTRELAGENT_EXPORT void SaveFirstElement(const QDomElement& body, const char* name);

/// Reads the file `name` of the data folder into `tree`, beside what is there.
/// False, with the tree as it was, when the file cannot be read, is no well-formed
/// XML, or is refused as a reply would be (see replydocument.h).
VANTRELAGENT_EXPORT bool ReadSavedTree(const char* name, CXMLNode& tree);
