// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What a request needs from the store before it can be planned: the packages of its products,
// or those of a system update, and current package sources.

#pragma once

#include "host/plan.h"
#include "host/workerrun.h"

#include <QObject>
#include <memory>

namespace Pakmart
{

// Whether a request has to be completed by the store.
bool AsksStore(const Request& request);

class StoreQuestion : public QObject
{
    Q_OBJECT

public:
    explicit StoreQuestion(const Request& request);

    // Ends with `ended`, from the event loop.
    void start();
    void stop();
    // Lets a question go, also from within one of its signals.
    static void letGo(std::unique_ptr<StoreQuestion> question);

    const Failure& failure() const { return m_failure; }
    QString details() const { return m_run.details(); }
    // The request with its packages, and its products.
    const Request& request() const { return m_request; }
    const QList<PlanProduct>& products() const { return m_products; }

Q_SIGNALS:
    void waits(const QString& text); // empty: it goes on
    void ended();

private:
    void onAnswer();
    void addPackage(const QString& name);
    void finish(const Failure& failure);

    Request m_request;
    QList<PlanProduct> m_products;
    Failure m_failure;
    WorkerRun m_run;
};

// What the worker needs to record products.
QJsonObject JsonOf(const QList<PlanProduct>& products);

} // namespace Pakmart
