// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Checks a model at every signal, and counts its changes.

#pragma once

#include <QAbstractItemModelTester>
#include <QtTest>

class ModelWatch : public QObject
{
    Q_OBJECT

public:
    explicit ModelWatch(QAbstractItemModel* model)
        : m_model(model), m_tester(model, QAbstractItemModelTester::FailureReportingMode::Fatal)
    {
        using Model = QAbstractItemModel;
        connect(model, &Model::modelReset, this, [this] { ++m_resets; });
        connect(model, &Model::rowsInserted, this, [this] { ++m_inserts; });
        connect(model, &Model::rowsRemoved, this, [this] { ++m_removes; });
        connect(model, &Model::rowsMoved, this, [this] { ++m_moves; });
        connect(model, &Model::layoutChanged, this, [this] { ++m_layouts; });
        connect(model, &Model::dataChanged, this, [this] { ++m_changes; });
    }

    // "i1 r2 m0 l0 d1": the signals since the last call, or "reset".
    QByteArray changes()
    {
        const QByteArray text = "i" + QByteArray::number(m_inserts) + " r"
            + QByteArray::number(m_removes) + " m" + QByteArray::number(m_moves) + " l"
            + QByteArray::number(m_layouts) + " d" + QByteArray::number(m_changes);
        const bool wasReset = m_resets > 0;
        m_resets = m_inserts = m_removes = m_moves = m_layouts = m_changes = 0;
        return wasReset ? QByteArray("reset") : text;
    }

    // The texts of all rows.
    QStringList texts(int role = Qt::DisplayRole) const
    {
        QStringList all;
        for (int row = 0; row < m_model->rowCount(); ++row)
            all << m_model->index(row, 0).data(role).toString();
        return all;
    }

private:
    QAbstractItemModel* const m_model;
    QAbstractItemModelTester m_tester;
    int m_resets = 0, m_inserts = 0, m_removes = 0, m_moves = 0, m_layouts = 0, m_changes = 0;
};
