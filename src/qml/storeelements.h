// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The jobs that ask the store server, as elements with the names of the jobs.

#pragma once

#include "jobelement.h"

#include <Pakmart/AislesJob>
#include <Pakmart/PicturesJob>
#include <Pakmart/RefreshCatalogJob>
#include <Pakmart/RefreshSourcesJob>
#include <Pakmart/RegisterJob>
#include <Pakmart/SyncJob>

namespace Pakmart
{

class RefreshCatalogElement : public JobElement
{
    Q_OBJECT
    Q_PROPERTY(int products READ products NOTIFY finished)
    Q_PROPERTY(int categories READ categories NOTIFY finished)
    Q_PROPERTY(bool first READ isFirst NOTIFY finished)
    Q_PROPERTY(bool unchanged READ isUnchanged NOTIFY finished)
    Q_PROPERTY(qint64 transferred READ transferred NOTIFY finished)
    Q_PROPERTY(bool transferredUnpacked READ isTransferredUnpacked NOTIFY finished)
    Q_PROPERTY(int addedCount READ addedCount NOTIFY finished)
    Q_PROPERTY(int changedCount READ changedCount NOTIFY finished)
    Q_PROPERTY(int goneCount READ goneCount NOTIFY finished)
    // Products with `serial` and `name`.
    Q_PROPERTY(QVariantList addedProducts READ addedProducts NOTIFY finished)
    Q_PROPERTY(QVariantList changedProducts READ changedProducts NOTIFY finished)
    Q_PROPERTY(QVariantList goneProducts READ goneProducts NOTIFY finished)

public:
    explicit RefreshCatalogElement(QObject* parent = nullptr) : JobElement(parent) { }

    int products() const { return value(&RefreshCatalogJob::products); }
    int categories() const { return value(&RefreshCatalogJob::categories); }
    bool isFirst() const { return value(&RefreshCatalogJob::isFirst); }
    bool isUnchanged() const { return value(&RefreshCatalogJob::isUnchanged); }
    qint64 transferred() const { return value(&RefreshCatalogJob::transferred); }
    bool isTransferredUnpacked() const { return value(&RefreshCatalogJob::isTransferredUnpacked); }
    int addedCount() const { return value(&RefreshCatalogJob::addedCount); }
    int changedCount() const { return value(&RefreshCatalogJob::changedCount); }
    int goneCount() const { return value(&RefreshCatalogJob::goneCount); }
    QVariantList addedProducts() const { return list(&RefreshCatalogJob::added); }
    QVariantList changedProducts() const { return list(&RefreshCatalogJob::changed); }
    QVariantList goneProducts() const { return list(&RefreshCatalogJob::gone); }

protected:
    Job* make() override { return new RefreshCatalogJob(this); }
};

class RefreshSourcesElement : public JobElement
{
    Q_OBJECT
    // Fetches the package lists only if the store has changed its sources.
    Q_PROPERTY(bool ifChanged MEMBER m_ifChanged NOTIFY ifChangedChanged)
    Q_PROPERTY(int sources READ sources NOTIFY finished)
    Q_PROPERTY(bool sourcesChanged READ isSourcesChanged NOTIFY finished)

public:
    explicit RefreshSourcesElement(QObject* parent = nullptr) : JobElement(parent) { }

    int sources() const { return value(&RefreshSourcesJob::sources); }
    bool isSourcesChanged() const { return value(&RefreshSourcesJob::isChanged); }

Q_SIGNALS:
    void ifChangedChanged();

protected:
    Job* make() override
    {
        return m_ifChanged ? RefreshSourcesJob::ifChanged(this) : new RefreshSourcesJob(this);
    }

private:
    bool m_ifChanged = false;
};

class AislesElement : public JobElement
{
    Q_OBJECT
    // Aisles with `name`, `description` and `categories`, which have `serial` and `name`.
    Q_PROPERTY(QVariantList aisles READ aisles NOTIFY finished)

public:
    explicit AislesElement(QObject* parent = nullptr) : JobElement(parent) { }

    QVariantList aisles() const;

protected:
    Job* make() override { return new AislesJob(this); }
};

class PicturesElement : public JobElement
{
    Q_OBJECT

public:
    explicit PicturesElement(QObject* parent = nullptr) : JobElement(parent) { }

protected:
    Job* make() override { return new PicturesJob(this); }
};

class SyncElement : public JobElement
{
    Q_OBJECT
    // Applications with `serial`, `name` and `package`.
    Q_PROPERTY(QVariantList applications READ applications NOTIFY finished)

public:
    explicit SyncElement(QObject* parent = nullptr) : JobElement(parent) { }

    QVariantList applications() const { return list(&SyncJob::applications); }

protected:
    Job* make() override { return new SyncJob(this); }
};

class RegisterElement : public JobElement
{
    Q_OBJECT
    Q_PROPERTY(QString builder READ builder NOTIFY finished)

public:
    explicit RegisterElement(QObject* parent = nullptr) : JobElement(parent) { }

    QString builder() const { return value(&RegisterJob::builder); }

protected:
    Job* make() override { return new RegisterJob(this); }
};

} // namespace Pakmart
