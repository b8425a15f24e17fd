// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/storejobs.h"

#include "host/catalogowner.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>

namespace Pakmart
{

namespace
{

int Number(const QJsonObject& object, const char* name)
{
    return object[QLatin1String(name)].toInt();
}

QString Text(const QJsonObject& object, const char* name)
{
    return object[QLatin1String(name)].toString();
}

template <typename Value>
QList<Value> ListOf(const QJsonValue& array, Value (*valueOf)(const QJsonObject&))
{
    QList<Value> list;
    for (const QJsonValue entry : array.toArray())
        list << valueOf(entry.toObject());
    return list;
}

// The changes of one kind.
struct Changes {
    int count = 0;
    QList<CatalogChange> products;
};

Changes ChangesOf(const QJsonValue& value)
{
    const QJsonObject object = value.toObject();
    return { Number(object, "count"),
             ListOf<CatalogChange>(object[QLatin1String("products")], [](const QJsonObject& one) {
                 CatalogChange change;
                 change.serial = Number(one, "serial");
                 change.name = Text(one, "name");
                 return change;
             }) };
}

AisleCategory CategoryOf(const QJsonObject& object)
{
    AisleCategory category;
    category.serial = Number(object, "serial");
    category.name = Text(object, "name");
    return category;
}

Aisle AisleOf(const QJsonObject& object)
{
    Aisle aisle;
    aisle.name = Text(object, "name");
    aisle.description = Text(object, "description");
    aisle.categories = ListOf<AisleCategory>(object[QLatin1String("categories")], CategoryOf);
    return aisle;
}

MachineApplication ApplicationOf(const QJsonObject& object)
{
    MachineApplication application;
    application.serial = Number(object, "serial");
    application.name = Text(object, "name");
    application.package = Text(object, "package");
    return application;
}

} // namespace

// ---- the catalog ----

class RefreshCatalogJob::Private
{
public:
    int products = 0;
    int categories = 0;
    bool first = false;
    qint64 transferred = 0;
    bool transferredUnpacked = false;
    Changes added, changed, gone;
    std::unique_ptr<OwnerRun> owner; // if that is to do it
};

RefreshCatalogJob::RefreshCatalogJob(QObject* parent)
    : StoreJob("refresh-catalog", parent), d(std::make_unique<Private>())
{
    setDefaultTitle(QCoreApplication::translate("Pakmart", "Refresh the catalog"));
}

RefreshCatalogJob::~RefreshCatalogJob() = default;

void RefreshCatalogJob::takeResult(const QJsonObject& result)
{
    d->products = Number(result, "products");
    d->categories = Number(result, "categories");
    d->first = result[QLatin1String("first")].toBool();
    d->transferred = qint64(result[QLatin1String("transferred")].toDouble());
    d->transferredUnpacked = result[QLatin1String("transferredUnpacked")].toBool();
    d->added = ChangesOf(result[QLatin1String("added")]);
    d->changed = ChangesOf(result[QLatin1String("changed")]);
    d->gone = ChangesOf(result[QLatin1String("gone")]);
}

void RefreshCatalogJob::run()
{
    const std::optional<OwnerCommand> command = CommandOfCatalogOwner();
    if (!command) {
        StoreJob::run();
        return;
    }
    setPhase(Downloading);
    if (hasEnded())
        return; // killed by a slot
    if (isCancelled()) {
        fail(Error::Cancelled);
        return;
    }
    d->owner = std::make_unique<OwnerRun>();
    connect(d->owner.get(), &OwnerRun::ended, this, &RefreshCatalogJob::onOwnerEnded);
    d->owner->start(*command);
}

void RefreshCatalogJob::onOwnerEnded()
{
    const std::unique_ptr<OwnerRun, void (*)(OwnerRun*)> owner(
        d->owner.release(), [](OwnerRun* run) { OwnerRun::letGo(std::unique_ptr<OwnerRun>(run)); });
    setDetails(owner->details());
    if (isCancelled()) {
        fail(Error::Cancelled);
    } else if (owner->failure().code != Error::NoError) {
        fail(owner->failure().code, owner->failure().sentence);
    } else {
        takeResult(owner->result());
        emit resultReady();
        succeed();
    }
}

void RefreshCatalogJob::stop()
{
    if (d->owner)
        d->owner->stop();
    else
        StoreJob::stop();
}

void RefreshCatalogJob::letGo()
{
    OwnerRun::letGo(std::move(d->owner));
    StoreJob::letGo();
}

int RefreshCatalogJob::products() const
{
    return d->products;
}

int RefreshCatalogJob::categories() const
{
    return d->categories;
}

bool RefreshCatalogJob::isFirst() const
{
    return d->first;
}

bool RefreshCatalogJob::isUnchanged() const
{
    return !d->first && d->added.count + d->changed.count + d->gone.count == 0;
}

qint64 RefreshCatalogJob::transferred() const
{
    return d->transferred;
}

bool RefreshCatalogJob::isTransferredUnpacked() const
{
    return d->transferredUnpacked;
}

int RefreshCatalogJob::addedCount() const
{
    return d->added.count;
}

int RefreshCatalogJob::changedCount() const
{
    return d->changed.count;
}

int RefreshCatalogJob::goneCount() const
{
    return d->gone.count;
}

QList<CatalogChange> RefreshCatalogJob::added() const
{
    return d->added.products;
}

QList<CatalogChange> RefreshCatalogJob::changed() const
{
    return d->changed.products;
}

QList<CatalogChange> RefreshCatalogJob::gone() const
{
    return d->gone.products;
}

// ---- the package sources ----

class RefreshSourcesJob::Private
{
public:
    int sources = 0;
    bool changed = false;
};

RefreshSourcesJob::RefreshSourcesJob(QObject* parent) : RefreshSourcesJob("refresh-sources", parent)
{
}

RefreshSourcesJob::RefreshSourcesJob(const char* task, QObject* parent)
    : StoreJob(task, parent), d(std::make_unique<Private>())
{
    setDefaultTitle(QCoreApplication::translate("Pakmart", "Refresh the package sources"));
}

RefreshSourcesJob* RefreshSourcesJob::ifChanged(QObject* parent)
{
    return new RefreshSourcesJob("check-sources", parent);
}

RefreshSourcesJob::~RefreshSourcesJob() = default;

void RefreshSourcesJob::takeResult(const QJsonObject& result)
{
    d->sources = Number(result, "sources");
    d->changed = result[QLatin1String("changed")].toBool();
}

int RefreshSourcesJob::sources() const
{
    return d->sources;
}

bool RefreshSourcesJob::isChanged() const
{
    return d->changed;
}

// ---- the aisles ----

class AislesJob::Private
{
public:
    QList<Aisle> aisles;
};

AislesJob::AislesJob(QObject* parent) : StoreJob("aisles", parent), d(std::make_unique<Private>())
{
    setDefaultTitle(QCoreApplication::translate("Pakmart", "Fetch the aisles of the store"));
}

AislesJob::~AislesJob() = default;

void AislesJob::takeResult(const QJsonObject& result)
{
    d->aisles = ListOf<Aisle>(result[QLatin1String("list")], AisleOf);
}

QList<Aisle> AislesJob::aisles() const
{
    return d->aisles;
}

// ---- this machine ----

class SyncJob::Private
{
public:
    QList<MachineApplication> applications;
};

SyncJob::SyncJob(QObject* parent) : StoreJob("sync", parent), d(std::make_unique<Private>())
{
    setDefaultTitle(QCoreApplication::translate("Pakmart", "Fetch this computer's applications"));
}

SyncJob::~SyncJob() = default;

void SyncJob::takeResult(const QJsonObject& result)
{
    d->applications = ListOf<MachineApplication>(result[QLatin1String("list")], ApplicationOf);
}

QList<MachineApplication> SyncJob::applications() const
{
    return d->applications;
}

class RegisterJob::Private
{
public:
    QString builder;
};

RegisterJob::RegisterJob(QObject* parent)
    : StoreJob("register", parent), d(std::make_unique<Private>())
{
    setDefaultTitle(QCoreApplication::translate("Pakmart", "Register this computer"));
}

RegisterJob::~RegisterJob() = default;

void RegisterJob::takeResult(const QJsonObject& result)
{
    d->builder = Text(result, "builder");
}

QString RegisterJob::builder() const
{
    return d->builder;
}

} // namespace Pakmart
