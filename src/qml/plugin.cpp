// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The QML module org.vantrelos.pakmart: the models, the enumerations, and changes of packages.

#include "transaction.h"

#include <Pakmart/CategoryModel>
#include <Pakmart/HistoryModel>
#include <Pakmart/Job>
#include <Pakmart/PendingModel>
#include <Pakmart/PlanModel>
#include <Pakmart/ProductModel>
#include <Pakmart/RecentModel>
#include <QQmlExtensionPlugin>
#include <QtQml>

class PakmartPlugin : public QQmlExtensionPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QQmlExtensionInterface_iid)

public:
    void registerTypes(const char* uri) override
    {
        using namespace Pakmart;
        qRegisterMetaType<Plan>("Pakmart::Plan");
        qRegisterMetaType<Product>("Pakmart::Product");
        qmlRegisterType<CategoryModel>(uri, 1, 0, "CategoryModel");
        qmlRegisterType<HistoryModel>(uri, 1, 0, "HistoryModel");
        qmlRegisterType<InstalledModel>(uri, 1, 0, "InstalledModel");
        qmlRegisterType<PendingModel>(uri, 1, 0, "PendingModel");
        qmlRegisterType<PlanModel>(uri, 1, 0, "PlanModel");
        qmlRegisterType<ProductModel>(uri, 1, 0, "ProductModel");
        qmlRegisterType<RecentModel>(uri, 1, 0, "RecentModel");
        qmlRegisterType<Transaction>(uri, 1, 0, "Transaction");

        const auto values = QStringLiteral("only its values are for QML");
        qmlRegisterUncreatableType<Job>(uri, 1, 0, "Job", values);
        qmlRegisterUncreatableMetaObject(Error::staticMetaObject, uri, 1, 0, "Error", values);
        qmlRegisterUncreatableMetaObject(PlanRow::staticMetaObject, uri, 1, 0, "PlanRow", values);
        qmlRegisterUncreatableMetaObject(Product::staticMetaObject, uri, 1, 0, "Product", values);
        qmlRegisterUncreatableMetaObject(Request::staticMetaObject, uri, 1, 0, "Request", values);
    }
};

#include "plugin.moc"
