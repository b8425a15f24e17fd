// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The QML module org.vantrelos.pakmart: the models, the enumerations, changes of packages,
// and the jobs of the store and of the machine.

#include "machineelements.h"
#include "openelement.h"
#include "pictureprovider.h"
#include "storeelements.h"
#include "transaction.h"

#include <Pakmart/AisleModel>
#include <Pakmart/CategoryModel>
#include <Pakmart/HistoryModel>
#include <Pakmart/Job>
#include <Pakmart/PendingModel>
#include <Pakmart/PlanModel>
#include <Pakmart/ProductModel>
#include <Pakmart/RecentModel>
#include <Pakmart/RestartHint>
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
        qmlRegisterType<Transaction>(uri, 1, 0, "Transaction");
        qmlRegisterType<AislesElement>(uri, 1, 0, "AislesJob");
        qmlRegisterType<PicturesElement>(uri, 1, 0, "PicturesJob");
        qmlRegisterType<CheckElement>(uri, 1, 0, "CheckJob");
        qmlRegisterType<OpenElement>(uri, 1, 0, "OpenJob");
        qmlRegisterType<RefreshCatalogElement>(uri, 1, 0, "RefreshCatalogJob");
        qmlRegisterType<RefreshSourcesElement>(uri, 1, 0, "RefreshSourcesJob");
        qmlRegisterType<RegisterElement>(uri, 1, 0, "RegisterJob");
        qmlRegisterType<RepairElement>(uri, 1, 0, "RepairJob");
        qmlRegisterType<RestartHint>(uri, 1, 0, "RestartHint");
        qmlRegisterType<SyncElement>(uri, 1, 0, "SyncJob");
        qmlRegisterType<SystemUpdateElement>(uri, 1, 0, "SystemUpdateJob");
        registerModels(uri);
        registerValues(uri);
    }

    // Images have the addresses "image://pakmart/SOURCE".
    void initializeEngine(QQmlEngine* engine, const char*) override
    {
        engine->addImageProvider(QStringLiteral("pakmart"), new Pakmart::PictureProvider);
    }

private:
    static void registerModels(const char* uri)
    {
        using namespace Pakmart;
        qmlRegisterType<AisleModel>(uri, 1, 0, "AisleModel");
        qmlRegisterType<CategoryModel>(uri, 1, 0, "CategoryModel");
        qmlRegisterType<HistoryModel>(uri, 1, 0, "HistoryModel");
        qmlRegisterType<InstalledModel>(uri, 1, 0, "InstalledModel");
        qmlRegisterType<PendingModel>(uri, 1, 0, "PendingModel");
        qmlRegisterType<PlanModel>(uri, 1, 0, "PlanModel");
        qmlRegisterType<ProductModel>(uri, 1, 0, "ProductModel");
        qmlRegisterType<RecentModel>(uri, 1, 0, "RecentModel");
    }
    static void registerValues(const char* uri)
    {
        using namespace Pakmart;
        const auto values = QStringLiteral("only its values are for QML");
        qmlRegisterUncreatableType<Job>(uri, 1, 0, "Job", values);
        qmlRegisterUncreatableMetaObject(Error::staticMetaObject, uri, 1, 0, "Error", values);
        qmlRegisterUncreatableMetaObject(PlanRow::staticMetaObject, uri, 1, 0, "PlanRow", values);
        qmlRegisterUncreatableMetaObject(Product::staticMetaObject, uri, 1, 0, "Product", values);
        qmlRegisterUncreatableMetaObject(RepairFinding::staticMetaObject, uri, 1, 0,
                                         "RepairFinding", values);
        qmlRegisterUncreatableMetaObject(Request::staticMetaObject, uri, 1, 0, "Request", values);
    }
};

#include "plugin.moc"
