// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// The part of a reply that the agent saves to a file of its data folder: the first
/// element of the body, as a CXMLNode tree in its written form, without indentation.
/// Hosts read such a file with ReadSavedTree:
///
///     CXMLNode aisles(nullptr);
///     if (ReadSavedTree(".aisles", aisles))
///         ... aisles.ChildArray("aisle")

#pragma once

#include <QString>
#include <vantrelagent/export.h>

class CXMLNode;
class QDomElement;

namespace Agent
{

/// The path to open for the file `name` of the data folder.
VANTRELAGENT_EXPORT QString SavedTreePath(const char* name);

/// Reads the first element of a reply's body into `tree`, skipping anything else
/// before it. False if the body has no element, or it cannot be read.
VANTRELAGENT_EXPORT bool ReadFirstElement(const QDomElement& body, CXMLNode& tree);

/// Writes `tree` to the file `name` of the data folder. An existing file keeps its
/// permissions and, if allowed, its owner; a new one is writable by its owner only.
/// ".profile" is private to the account: only its owner may read it.
///
/// The new text replaces the old one in one step, once it is on the disk: readers, and
/// crashes, see either version whole. If the folder cannot be written but the file can,
/// the file is rewritten in place instead; a half-written file is then not well-formed
/// XML.
///
/// False, with the old file unchanged, when it cannot be written (in place: when it
/// cannot be opened).
VANTRELAGENT_EXPORT bool SaveTree(CXMLNode& tree, const char* name);

/// Does both steps and makes the same file, but without the whole tree in memory, and
/// processes events meanwhile. Failures are not returned.
VANTRELAGENT_EXPORT void SaveFirstElement(const QDomElement& body, const char* name);

/// Reads the file `name` of the data folder into `tree`, in addition to its present
/// content. False, with the tree unchanged, when the file cannot be read, is not
/// well-formed XML, or is refused as a reply would be (see replydocument.h).
VANTRELAGENT_EXPORT bool ReadSavedTree(const char* name, CXMLNode& tree);

} // namespace Agent
