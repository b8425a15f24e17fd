// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// How the rows change: a few changes are reported one by one. If there are many, as after
// another search, that would take time in every view: the rows that go are collected at the end
// by one change of the order, and removed at once; new ones are added at the end at once, and
// brought to their places by another change of the order. Persistent indexes follow both.

#include "host/models/listmodel.h"

#include "host/models/rowsteps.h"

#include <algorithm>

namespace Pakmart
{

class ListModel::Private
{
public:
    Rows rows;
    State state = Loading;
    QString text;
};

ListModel::ListModel(QObject* parent) : QAbstractListModel(parent), d(std::make_unique<Private>())
{
}

ListModel::~ListModel() = default;

ListModel::State ListModel::state() const
{
    return d->state;
}

QString ListModel::stateText() const
{
    return d->text;
}

int ListModel::count() const
{
    return int(d->rows.size());
}

int ListModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant ListModel::value(int row, const QString& role) const
{
    const QHash<int, QByteArray> names = roleNames();
    const int number = names.key(role.toUtf8(), -1);
    return number < 0 ? QVariant() : data(index(row, 0), number);
}

const ListModel::Rows& ListModel::rows() const
{
    return d->rows;
}

void ListModel::setState(State state, const QString& text)
{
    if (d->state == state && d->text == text)
        return;
    d->state = state;
    d->text = text;
    emit stateChanged();
}

// One change of a model's rows.
class RowChange
{
public:
    using Row = ListModel::Row;
    using Rows = ListModel::Rows;
    using Differs = std::function<bool(const Row&, const Row&)>;

    RowChange(ListModel& model, Rows& rows, Rows after)
        : m_model(model), m_rows(rows), m_after(std::move(after)),
          m_steps(StepsBetween(keysOf(m_rows), keysOf(m_after)))
    {
    }

    void apply(const std::function<void()>& takeOver, const Differs& differs)
    {
        const bool isSmall = m_steps.removed.size() + m_steps.inserted.size() <= mostSteps
            && m_steps.moveCount <= int(mostSteps);
        if (isSmall)
            removeAndMove();
        else
            removeAtOnce();
        takeOver();
        std::vector<int> changed; // rows of the new list
        takePlaces(differs, changed);
        if (isSmall)
            insert();
        else
            insertAtOnce();
        report(changed);
    }

private:
    static constexpr std::size_t mostSteps = 32;

    static Keys keysOf(const Rows& rows)
    {
        Keys keys(rows.size());
        std::transform(rows.begin(), rows.end(), keys.begin(),
                       [](const Row& row) { return row.key; });
        return keys;
    }

    void removeAndMove()
    {
        for (auto range = m_steps.removed.rbegin(); range != m_steps.removed.rend(); ++range) {
            m_model.beginRemoveRows(QModelIndex(), range->first, range->last);
            m_rows.erase(m_rows.begin() + range->first, m_rows.begin() + range->last + 1);
            m_model.endRemoveRows();
        }
        if (m_steps.moveCount == 0)
            return;
        const Keys order = keptKeys();
        for (std::size_t at = 0; at < order.size(); ++at)
            if (m_steps.moves[at])
                moveAfter(order[at], at > 0 ? rowOf(order[at - 1]) : -1);
    }
    Keys keptKeys() const
    {
        Keys keys(m_steps.kept.size());
        std::size_t kept = 0, gap = 0;
        for (std::size_t row = 0; row < m_after.size(); ++row) {
            if (gap < m_steps.inserted.size() && int(row) > m_steps.inserted[gap].last)
                ++gap;
            if (gap == m_steps.inserted.size() || int(row) < m_steps.inserted[gap].first)
                keys[kept++] = m_after[row].key;
        }
        return keys;
    }
    int rowOf(qint64 key) const
    {
        return int(std::find_if(m_rows.begin(), m_rows.end(),
                                [key](const Row& row) { return row.key == key; })
                   - m_rows.begin());
    }
    void moveAfter(qint64 key, int previous)
    {
        const int from = rowOf(key), to = previous + 1;
        if (from == to)
            return;
        m_model.beginMoveRows(QModelIndex(), from, from, QModelIndex(), to);
        const auto begin = m_rows.begin();
        if (from < to)
            std::rotate(begin + from, begin + from + 1, begin + to);
        else
            std::rotate(begin + to, begin + from, begin + from + 1);
        m_model.endMoveRows();
    }

    // Gives the rows another order; `order` has the old row for each new one.
    void reorder(const std::vector<int>& order)
    {
        if (std::is_sorted(order.begin(), order.end()))
            return;
        emit m_model.layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
        Rows sorted(order.size());
        std::vector<int> newRow(order.size());
        for (std::size_t row = 0; row < order.size(); ++row) {
            sorted[row] = m_rows[std::size_t(order[row])];
            newRow[std::size_t(order[row])] = int(row);
        }
        m_rows = std::move(sorted);
        const QModelIndexList from = m_model.persistentIndexList();
        QModelIndexList to;
        to.reserve(from.size());
        for (const QModelIndex& index : from)
            to << m_model.index(newRow[std::size_t(index.row())], index.column());
        m_model.changePersistentIndexList(from, to);
        emit m_model.layoutChanged({}, QAbstractItemModel::VerticalSortHint);
    }

    void removeAtOnce()
    {
        std::vector<int> order = m_steps.kept;
        for (const RowRange& range : m_steps.removed)
            for (int row = range.first; row <= range.last; ++row)
                order.push_back(row);
        reorder(order);
        const std::size_t stay = m_steps.kept.size();
        if (stay == m_rows.size())
            return;
        m_model.beginRemoveRows(QModelIndex(), int(stay), int(m_rows.size()) - 1);
        m_rows.resize(stay);
        m_model.endRemoveRows();
    }

    // All rows left are in the new order now.
    void takePlaces(const Differs& differs, std::vector<int>& changed)
    {
        std::size_t next = 0;
        for (std::size_t row = 0; row < m_after.size() && next < m_rows.size(); ++row) {
            if (m_rows[next].key != m_after[row].key)
                continue;
            if (differs(m_rows[next], m_after[row]))
                changed.push_back(int(row));
            m_rows[next++] = m_after[row];
        }
    }

    void insert()
    {
        for (const RowRange& range : m_steps.inserted) {
            m_model.beginInsertRows(QModelIndex(), range.first, range.last);
            m_rows.insert(m_rows.begin() + range.first, m_after.begin() + range.first,
                          m_after.begin() + range.last + 1);
            m_model.endInsertRows();
        }
    }
    void insertAtOnce()
    {
        if (m_steps.inserted.empty())
            return;
        const std::size_t old = m_rows.size();
        m_model.beginInsertRows(QModelIndex(), int(old), int(m_after.size()) - 1);
        for (const RowRange& range : m_steps.inserted)
            m_rows.insert(m_rows.end(), m_after.begin() + range.first,
                          m_after.begin() + range.last + 1);
        m_model.endInsertRows();
        std::vector<int> order(m_after.size());
        int next = 0, added = int(old);
        auto range = m_steps.inserted.begin();
        for (int row = 0; row < int(order.size()); ++row) {
            if (range != m_steps.inserted.end() && row > range->last)
                ++range;
            const bool isNew = range != m_steps.inserted.end() && row >= range->first;
            order[std::size_t(row)] = isNew ? added++ : next++;
        }
        reorder(order);
    }

    void report(const std::vector<int>& changed)
    {
        if (changed.empty())
            return;
        std::vector<RowRange> ranges;
        for (int row : changed) {
            if (!ranges.empty() && ranges.back().last == row - 1)
                ranges.back().last = row;
            else
                ranges.push_back({ row, row });
        }
        if (ranges.size() > mostSteps)
            ranges = { { changed.front(), changed.back() } };
        for (const RowRange& range : ranges)
            emit m_model.dataChanged(m_model.index(range.first, 0), m_model.index(range.last, 0));
    }

    ListModel& m_model;
    Rows& m_rows;
    const Rows m_after;
    const RowSteps m_steps;
};

void ListModel::changeRows(Rows after, const std::function<void()>& takeOver,
                           const std::function<bool(const Row&, const Row&)>& differs)
{
    const int before = count();
    RowChange(*this, d->rows, std::move(after)).apply(takeOver, differs);
    if (count() != before)
        emit countChanged();
}

} // namespace Pakmart
