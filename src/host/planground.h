// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What plans are made from: dpkg's status, what apt knows and how it is set up, and the stores
// that the machine trusts. While none of these files changes, the front end makes the same plan
// again, and the one that was shown need not be made a second time before it is carried out.

#pragma once

#include <QByteArray>

namespace Pakmart
{

// A digest of these files: of the agent's own small list of sources, which is written again with
// each look at the store, the content; of all others, number, size and time. Empty if there are
// too many to look at.
QByteArray GroundOfPlans();

// Whether the front end will take the lists of the signed stores as they are, now and for a while,
// and not fetch newer ones first.
bool ListsStayAsTheyAre();

} // namespace Pakmart
