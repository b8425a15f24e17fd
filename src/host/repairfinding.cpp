// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The source of the header that describes findings, for their meta-object.

#include "host/repairfinding.h"
