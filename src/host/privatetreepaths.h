// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Where the private tree is, and the words by which the package front end uses it.

#pragma once

#include <QString>
#include <QStringList>

namespace Pakmart
{

// The folder of the private tree.
QString PrivateTree();

// The options that make the front end resolve and fetch packages with the tree's sources and
// lists, the same ones for a plan and for the run that carries it out.
QStringList TreeWords();

// The program to run.
QString FrontEndProgram();

} // namespace Pakmart
