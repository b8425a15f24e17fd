// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The note that knowncatalog.h reads.

#pragma once

struct stat;

namespace Agent
{

struct TakenReply;

// Notes the reply of which the file, as it is here, and the database were just made. Nothing
// is noted if another update has come in between.
void NoteCatalog(const TakenReply& reply, const struct stat& file);

} // namespace Agent
