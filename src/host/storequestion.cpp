// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/storequestion.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QTimer>
#include <algorithm>

namespace Pakmart
{

namespace
{

PlanProduct ProductOf(const QJsonObject& object)
{
    const auto text
        = [&object](const char* name) { return object[QLatin1String(name)].toString(); };
    PlanProduct product;
    product.serial = object[QLatin1String("serial")].toInt();
    product.package = text("package");
    product.name = text("name");
    product.program = text("program");
    product.path = text("path");
    product.icon = text("icon");
    product.smallIcon = text("smallIcon");
    return product;
}

} // namespace

bool AsksStore(const Request& request)
{
    return !request.products.isEmpty() || request.kind == Request::SystemUpdate;
}

StoreQuestion::StoreQuestion(const Request& request) : m_request(request)
{
    connect(&m_run, &WorkerRun::waits, this, &StoreQuestion::waits);
    connect(&m_run, &WorkerRun::ended, this, &StoreQuestion::onAnswer);
}

void StoreQuestion::start()
{
    const QList<int>& products = m_request.products;
    if (std::any_of(products.begin(), products.end(), [](int serial) { return serial <= 0; })) {
        QTimer::singleShot(0, this, [this] {
            finish({ Error::UnknownProduct, Error::sentence(Error::UnknownProduct) });
        });
        return;
    }
    // A removal needs no package sources.
    const char* task = products.isEmpty()   ? "updates"
        : m_request.kind == Request::Remove ? "packages-of"
                                            : "products";
    QStringList words{ QLatin1String(task) };
    for (const int serial : products)
        words << QString::number(serial);
    m_run.start(words);
}

void StoreQuestion::stop()
{
    m_run.stop();
}

void StoreQuestion::letGo(std::unique_ptr<StoreQuestion> question)
{
    if (!question)
        return;
    question->disconnect();
    question->stop();
    question.release()->deleteLater();
}

// The names are checked when the plan is made, as those of any request.
void StoreQuestion::onAnswer()
{
    if (m_run.failure().code != Error::NoError) {
        finish(m_run.failure());
        return;
    }
    for (const QJsonValue value : m_run.result()[QLatin1String("packages")].toArray())
        addPackage(value.toString());
    for (const QJsonValue value : m_run.result()[QLatin1String("products")].toArray()) {
        m_products << ProductOf(value.toObject());
        addPackage(m_products.last().package);
    }
    finish(Failure());
}

void StoreQuestion::addPackage(const QString& name)
{
    if (!m_request.packages.contains(name))
        m_request.packages << name;
}

void StoreQuestion::finish(const Failure& failure)
{
    m_failure = failure;
    emit ended();
}

QJsonObject JsonOf(const QList<PlanProduct>& products)
{
    QJsonArray list;
    for (const PlanProduct& product : products)
        list << QJsonObject{ { QStringLiteral("serial"), product.serial },
                             { QStringLiteral("package"), product.package },
                             { QStringLiteral("name"), product.name },
                             { QStringLiteral("program"), product.program },
                             { QStringLiteral("path"), product.path },
                             { QStringLiteral("icon"), product.icon },
                             { QStringLiteral("smallIcon"), product.smallIcon } };
    return { { QStringLiteral("products"), list } };
}

} // namespace Pakmart
