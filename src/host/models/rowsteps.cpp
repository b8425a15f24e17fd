// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/models/rowsteps.h"

#include <QHash>
#include <algorithm>

namespace Pakmart
{

namespace
{

void Extend(std::vector<RowRange>& ranges, int row)
{
    if (!ranges.empty() && ranges.back().last == row - 1)
        ranges.back().last = row;
    else
        ranges.push_back({ row, row });
}

// Marks what is not in a longest ascending part of the list: moving these few is enough.
void MarkMoves(RowSteps& steps)
{
    steps.moves.assign(steps.kept.size(), false);
    if (std::is_sorted(steps.kept.begin(), steps.kept.end()))
        return;
    std::vector<int> ends; // for each length, the position with the lowest last value
    std::vector<int> previous(steps.kept.size(), -1);
    for (int at = 0; at < int(steps.kept.size()); ++at) {
        const auto place = std::lower_bound(
            ends.begin(), ends.end(), steps.kept[std::size_t(at)],
            [&steps](int end, int value) { return steps.kept[std::size_t(end)] < value; });
        previous[std::size_t(at)] = place == ends.begin() ? -1 : *(place - 1);
        if (place == ends.end())
            ends.push_back(at);
        else
            *place = at;
    }
    steps.moves.assign(steps.kept.size(), true);
    for (int at = ends.back(); at >= 0; at = previous[std::size_t(at)])
        steps.moves[std::size_t(at)] = false;
    steps.moveCount = int(steps.kept.size() - ends.size());
}

// The rows of keys. Keys that are numbers of products are close to each other, and need no hash.
class RowsOfKeys
{
public:
    RowsOfKeys(const Keys& keys, std::size_t from)
    {
        qint64 highest = 0;
        bool isDense = true;
        for (std::size_t row = from; row < keys.size(); ++row) {
            highest = std::max(highest, keys[row]);
            isDense = isDense && keys[row] >= 0;
        }
        if (isDense && highest < qint64(keys.size()) * 4)
            m_rows.assign(std::size_t(highest + 1), -1);
        for (std::size_t row = from; row < keys.size(); ++row)
            (m_rows.empty() ? m_others[keys[row]] : m_rows[std::size_t(keys[row])]) = int(row);
    }
    // -1 for a key that is not there.
    int of(qint64 key) const
    {
        if (m_rows.empty())
            return m_others.value(key, -1);
        return key >= 0 && key < qint64(m_rows.size()) ? m_rows[std::size_t(key)] : -1;
    }

private:
    std::vector<int> m_rows;
    QHash<qint64, int> m_others;
};

// How many keys at the beginning of both lists are equal.
std::size_t CommonBeginning(const Keys& before, const Keys& after)
{
    const std::size_t most = std::min(before.size(), after.size());
    return std::size_t(
        std::mismatch(before.begin(), before.begin() + std::ptrdiff_t(most), after.begin()).first
        - before.begin());
}

} // namespace

RowSteps StepsBetween(const Keys& before, const Keys& after)
{
    RowSteps steps;
    const std::size_t same = CommonBeginning(before, after);
    const RowsOfKeys rows(before, same);
    std::vector<bool> stays(before.size(), false);
    for (std::size_t row = 0; row < after.size(); ++row) {
        const int old = row < same ? int(row) : rows.of(after[row]);
        if (old < 0) {
            Extend(steps.inserted, int(row));
            continue;
        }
        steps.kept.push_back(old);
        stays[std::size_t(old)] = true;
    }
    for (std::size_t row = 0; row < before.size(); ++row)
        if (!stays[row])
            Extend(steps.removed, int(row));
    MarkMoves(steps);
    return steps;
}

} // namespace Pakmart
