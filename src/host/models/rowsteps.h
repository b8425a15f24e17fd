// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The row changes that make one list of keys another one. Values only: the models apply them.

#pragma once

#include <QtGlobal>
#include <vector>

namespace Pakmart
{

using Keys = std::vector<qint64>;

struct RowRange {
    int first;
    int last;
};

struct RowSteps {
    std::vector<RowRange> removed; // rows of the old list, ascending
    std::vector<int> kept; // rows of the old list, in the order of the new one
    std::vector<bool> moves; // of `kept`: whether it changes its place among the others
    int moveCount = 0;
    std::vector<RowRange> inserted; // rows of the new list, ascending
};

// No key may occur twice in a list.
RowSteps StepsBetween(const Keys& before, const Keys& after);

} // namespace Pakmart
