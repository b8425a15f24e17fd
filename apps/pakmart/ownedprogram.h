// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Which programs pakmart starts.

#pragma once

#include <QString>

// Whether a path is that of a file that an installed package has brought. The path comes from
// the store: it must not lead anywhere else.
bool IsProgramOfPackage(const QString& path);
