// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The icon of a category, by a name of the icon theme.

#pragma once

#include <QString>

namespace Pakmart
{

// The last part of a path counts before those above it.
QString CategoryIcon(const QString& category);

} // namespace Pakmart
