// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Which programs are started for a product.

#pragma once

#include <QStringList>

namespace Pakmart
{

// Whether a path is that of a program that one of these packages has brought, according to
// dpkg's lists of files. Path and names come from the store: the path must not lead anywhere
// else. An alternative counts as what it leads to, a diverted file as where it is, and /bin as
// /usr/bin where they are the same.
bool IsProgramOf(const QStringList& packages, const QString& path);

} // namespace Pakmart
