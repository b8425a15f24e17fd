// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Pakmart::ListModel
/// The base of the list models: a state with words for it, and rows that change in place.
///
/// A model reads what it shows beside the event loop, and nothing blocks. Until then it is
/// Loading. It notices by itself when the files that it shows are replaced. Its rows are
/// inserted, removed, moved and changed then, and never reset: selections, persistent indexes
/// and the position of a view survive.
///
/// Use models from the thread of the application object.

#pragma once

#include <QAbstractListModel>
#include <functional>
#include <memory>
#include <vantrelagent/export.h>
#include <vector>

namespace Pakmart
{

class VANTRELAGENT_EXPORT ListModel : public QAbstractListModel
{
    Q_OBJECT
    /// What the model has to show.
    Q_PROPERTY(Pakmart::ListModel::State state READ state NOTIFY stateChanged)
    /// Words for a state without rows, for the user; empty if there are rows.
    Q_PROPERTY(QString stateText READ stateText NOTIFY stateChanged)
    /// The number of rows.
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    /// What the model has to show. New ones may be added: treat an unknown one as OtherState.
    enum State {
        Loading, ///< it is reading for the first time
        Empty, ///< there is nothing to show
        Failed, ///< it cannot read what it would show
        Filled, ///< there are rows
        OtherState ///< anything else
    };
    Q_ENUM(State)

    ~ListModel() override;

    /// What the model has to show.
    State state() const;
    /// Words for a state without rows, as a sentence for the user; empty if there are rows.
    QString stateText() const;
    /// The number of rows.
    int count() const;

    /// As for any model.
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;

    /// The value of a role by its name, which QML uses; nothing if there is no such row or
    /// role.
    Q_INVOKABLE QVariant value(int row, const QString& role) const;

Q_SIGNALS:
    /// The state or its text is another one.
    void stateChanged();
    /// The number of rows is another one.
    void countChanged();

protected:
    /// A row: its key, which no other row has, and two numbers of the derived class.
    struct Row {
        qint64 key = 0; ///< identifies the row before and after a change
        quint32 place = 0; ///< where the derived class has its data
        quint32 extra = 0; ///< anything else that data() shows
    };
    using Rows = std::vector<Row>; ///< all rows in their order

    /// For models of this library only.
    explicit ListModel(QObject* parent);

    /// The rows as they are now.
    const Rows& rows() const;
    /// Makes `after` the rows, by few row changes. `takeOver` is called once: the places of
    /// rows refer to the old data before, and to the new data afterwards. Rows for which
    /// `differs` is true are reported as changed.
    void changeRows(Rows after, const std::function<void()>& takeOver,
                    const std::function<bool(const Row& before, const Row& after)>& differs);
    /// Sets what the properties report.
    void setState(State state, const QString& text = QString());

private:
    class Private;
    const std::unique_ptr<Private> d;
    friend class RowChange;
};

} // namespace Pakmart
