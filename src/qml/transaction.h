// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A change of packages for QML: prepared, shown, and carried out.

#pragma once

#include "jobrun.h"

#include <Pakmart/CommitJob>
#include <Pakmart/PlanModel>
#include <Pakmart/PrepareJob>

namespace Pakmart
{

class Transaction : public JobRun
{
    Q_OBJECT
    // What to do: a value of Request, such as Request.Install, and with which packages.
    Q_PROPERTY(int kind MEMBER m_kind NOTIFY requestChanged)
    Q_PROPERTY(QStringList packages MEMBER m_packages NOTIFY requestChanged)
    // Or with which products of the store, by their serial numbers.
    Q_PROPERTY(QList<int> products MEMBER m_products NOTIFY requestChanged)
    // For the list of pending jobs; empty for the request's own.
    Q_PROPERTY(QString title MEMBER m_title NOTIFY requestChanged)
    // Whether the user agrees to removals that nobody asked for.
    Q_PROPERTY(bool allowRemovals MEMBER m_allowRemovals NOTIFY requestChanged)
    // What would be done, once it is prepared.
    Q_PROPERTY(Pakmart::PlanModel* plan READ plan CONSTANT)

public:
    explicit Transaction(QObject* parent = nullptr);

    PlanModel* plan() { return &m_plan; }

    // Works out the plan; prepared() follows. Does nothing while it is running.
    Q_INVOKABLE void prepare();
    // The same for a request that is made elsewhere, such as HistoryModel.undoRequest().
    Q_INVOKABLE void prepareRequest(const Pakmart::Request& request);
    // Carries the plan out; finished() follows. Does nothing while it is running.
    Q_INVOKABLE void commit();

Q_SIGNALS:
    void requestChanged();
    // The plan is known, or there is an error.
    void prepared();
    // It is done, or there is an error.
    void finished();

private:
    int m_kind = Request::Install;
    QStringList m_packages;
    QList<int> m_products;
    QString m_title;
    bool m_allowRemovals = false;
    PlanModel m_plan;
};

} // namespace Pakmart
