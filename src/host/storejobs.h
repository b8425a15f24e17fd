// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// Jobs that ask the store server and change no package: the catalog, the package sources, the
/// aisles, the profile and the registration of this machine. StoreJob describes how they run.
///
///     auto* job = new Pakmart::RefreshCatalogJob;
///     connect(job, &KJob::result, host, [job] {
///         if (!job->error()) ... job->products(), job->added()
///     });
///     job->start();

#pragma once

#include "storejob.h"

#include <QList>
#include <QMetaType>
#include <QString>

namespace Pakmart
{

/// A product that is new in the catalog, or has changed, or is gone.
class VANTRELAGENT_EXPORT CatalogChange
{
    Q_GADGET
    /// The product's number in the store.
    Q_PROPERTY(int serial MEMBER serial)
    /// Its name.
    Q_PROPERTY(QString name MEMBER name)

public:
    int serial = 0; ///< the product's number in the store
    QString name; ///< its name
};

/// Fetches the store's catalog, and fills the catalog database from it. The old database can be
/// read until the new one is complete and replaces it; if the job does not succeed, the old one
/// stays.
///
/// Where the catalog belongs to a user of its own, as on an installed system, the job has the
/// service of that user do this, which needs no permission. It does not report bytes then, and a
/// service that has been started goes on when the job is cancelled.
class VANTRELAGENT_EXPORT RefreshCatalogJob : public StoreJob
{
    Q_OBJECT
    /// The number of products in the catalog.
    Q_PROPERTY(int products READ products NOTIFY resultReady)
    /// The number of categories with products.
    Q_PROPERTY(int categories READ categories NOTIFY resultReady)
    /// Whether there was no catalog before: then every product is an added one.
    Q_PROPERTY(bool first READ isFirst NOTIFY resultReady)
    /// What the store has sent, in bytes: heads and contents of its answers, packed if they came
    /// so. A catalog that has not changed takes a few hundred.
    Q_PROPERTY(qint64 transferred READ transferred NOTIFY resultReady)
    /// Whether packed contents are counted unpacked there, because their packed length is not
    /// known, as with KDE Frameworks 6.
    Q_PROPERTY(bool transferredUnpacked READ isTransferredUnpacked NOTIFY resultReady)
    /// How many products are new, have changed, or are gone.
    /// @{
    Q_PROPERTY(int addedCount READ addedCount NOTIFY resultReady)
    Q_PROPERTY(int changedCount READ changedCount NOTIFY resultReady)
    Q_PROPERTY(int goneCount READ goneCount NOTIFY resultReady)
    /// @}

public:
    /// Prepares the job.
    explicit RefreshCatalogJob(QObject* parent = nullptr);
    ~RefreshCatalogJob() override;

    /// The number of products in the catalog.
    int products() const;
    /// The number of categories with products.
    int categories() const;
    /// Whether there was no catalog before.
    bool isFirst() const;
    /// Whether the catalog is the same as before.
    bool isUnchanged() const;
    /// What the store has sent, in bytes.
    qint64 transferred() const;
    /// Whether packed contents are counted unpacked there.
    bool isTransferredUnpacked() const;

    /// How many products are new, have changed, or are gone.
    /// @{
    int addedCount() const;
    int changedCount() const;
    int goneCount() const;
    /// @}
    /// These products by their numbers; of each kind the first thousand.
    /// @{
    QList<CatalogChange> added() const;
    QList<CatalogChange> changed() const;
    QList<CatalogChange> gone() const;
    /// @}

protected:
    /// From the worker, or the owner's service.
    void takeResult(const QJsonObject& result) override;

    /// In the worker, or by the catalog's owner.
    /// @{
    void run() override;
    void stop() override;
    void letGo() override;
    /// @}

private:
    void onOwnerEnded();

    class Private;
    const std::unique_ptr<Private> d;
};

/// Fetches the store's lists of package sources, and then the package lists of these sources,
/// with which plans are made. A source that cannot be fetched makes the job fail: RefreshFailed,
/// with the lines of the package tools in details().
///
/// It takes turns with the jobs that change packages.
class VANTRELAGENT_EXPORT RefreshSourcesJob : public StoreJob
{
    Q_OBJECT
    /// The number of package sources.
    Q_PROPERTY(int sources READ sources NOTIFY resultReady)
    /// Whether the store has changed the list of sources.
    Q_PROPERTY(bool changed READ isChanged NOTIFY resultReady)

public:
    /// Prepares the job.
    explicit RefreshSourcesJob(QObject* parent = nullptr);
    ~RefreshSourcesJob() override;

    /// A job that fetches the package lists only if the store has changed its sources, or if
    /// there are no lists yet: what an install needs.
    static RefreshSourcesJob* ifChanged(QObject* parent = nullptr);

    /// The number of package sources.
    int sources() const;
    /// Whether the store has changed the list of sources.
    bool isChanged() const;

protected:
    /// From the worker.
    void takeResult(const QJsonObject& result) override;

private:
    RefreshSourcesJob(const char* task, QObject* parent);

    class Private;
    const std::unique_ptr<Private> d;
};

/// A category in an aisle of the store.
class VANTRELAGENT_EXPORT AisleCategory
{
    Q_GADGET
    /// The category's number in the store.
    Q_PROPERTY(int serial MEMBER serial)
    /// Its name.
    Q_PROPERTY(QString name MEMBER name)

public:
    int serial = 0; ///< the category's number in the store
    QString name; ///< its name
};

/// A group of categories, as the store arranges them.
class VANTRELAGENT_EXPORT Aisle
{
    Q_GADGET
    /// Its name.
    Q_PROPERTY(QString name MEMBER name)
    /// A text about it; may be empty.
    Q_PROPERTY(QString description MEMBER description)

public:
    QString name; ///< its name
    QString description; ///< a text about it; may be empty
    QList<AisleCategory> categories; ///< in the order of the store
};

/// Fetches the aisles of the store, and saves them in the data folder if that is the user's.
class VANTRELAGENT_EXPORT AislesJob : public StoreJob
{
    Q_OBJECT
    /// The aisles, in the order of the store.
    Q_PROPERTY(QList<Pakmart::Aisle> aisles READ aisles NOTIFY resultReady)

public:
    /// Prepares the job.
    explicit AislesJob(QObject* parent = nullptr);
    ~AislesJob() override;

    /// The aisles, in the order of the store.
    QList<Aisle> aisles() const;

protected:
    /// From the worker.
    void takeResult(const QJsonObject& result) override;

private:
    class Private;
    const std::unique_ptr<Private> d;
};

/// A product of the account that is installed on this machine.
class VANTRELAGENT_EXPORT MachineApplication
{
    Q_GADGET
    /// The product's number in the store.
    Q_PROPERTY(int serial MEMBER serial)
    /// Its name.
    Q_PROPERTY(QString name MEMBER name)
    /// Its package.
    Q_PROPERTY(QString package MEMBER package)

public:
    int serial = 0; ///< the product's number in the store
    QString name; ///< its name
    QString package; ///< its package
};

/// Fetches the profile of this machine's account, keeps of its applications those that are
/// installed here, and saves it in the data folder if that is the user's.
class VANTRELAGENT_EXPORT SyncJob : public StoreJob
{
    Q_OBJECT
    /// The applications of the account that are installed here.
    Q_PROPERTY(QList<Pakmart::MachineApplication> applications READ applications NOTIFY resultReady)

public:
    /// Prepares the job.
    explicit SyncJob(QObject* parent = nullptr);
    ~SyncJob() override;

    /// The applications of the account that are installed here.
    QList<MachineApplication> applications() const;

protected:
    /// From the worker.
    void takeResult(const QJsonObject& result) override;

private:
    class Private;
    const std::unique_ptr<Private> d;
};

/// Sends the store the identifier of the system builder that this installation comes from.
class VANTRELAGENT_EXPORT RegisterJob : public StoreJob
{
    Q_OBJECT
    /// The identifier of the system builder.
    Q_PROPERTY(QString builder READ builder NOTIFY resultReady)

public:
    /// Prepares the job.
    explicit RegisterJob(QObject* parent = nullptr);
    ~RegisterJob() override;

    /// The identifier of the system builder.
    QString builder() const;

protected:
    /// From the worker.
    void takeResult(const QJsonObject& result) override;

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace Pakmart

Q_DECLARE_METATYPE(Pakmart::CatalogChange)
Q_DECLARE_METATYPE(Pakmart::AisleCategory)
Q_DECLARE_METATYPE(Pakmart::Aisle)
Q_DECLARE_METATYPE(Pakmart::MachineApplication)
