// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "notifier.h"

#include <KLocalizedString>
#include <Pakmart/RefreshCatalogJob>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QVariantMap>

using Pakmart::ProductModel;

namespace
{

const QString service = QStringLiteral("org.freedesktop.Notifications");
const QString path = QStringLiteral("/org/freedesktop/Notifications");
const QString action = QStringLiteral("default"); // a click on the notification itself

} // namespace

// Without an answer of the store, what it has offered before counts.
void Notifier::start()
{
    constexpr int longest = 30 * 60 * 1000; // milliseconds that a notification is waited for
    m_patience.setSingleShot(true);
    connect(&m_patience, &QTimer::timeout, this, [this] { finish(false); });
    m_patience.start(longest);
    auto* const job = new Pakmart::RefreshCatalogJob(this);
    connect(job, &KJob::result, this, &Notifier::count);
    job->start();
}

void Notifier::count()
{
    m_updates = std::make_unique<ProductModel>();
    m_updates->setShow(ProductModel::Upgradable);
    connect(m_updates.get(), &ProductModel::stateChanged, this, &Notifier::take);
}

void Notifier::take()
{
    if (m_updates->state() == ProductModel::Loading)
        return;
    disconnect(m_updates.get(), nullptr, this, nullptr);
    if (m_updates->count() > 0)
        show(m_updates->count());
    else
        finish(false);
}

void Notifier::show(int updates)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.connect(service, path, service, QStringLiteral("ActionInvoked"), this,
                SLOT(onAction(uint, QString)));
    bus.connect(service, path, service, QStringLiteral("NotificationClosed"), this,
                SLOT(onClosed(uint, uint)));
    QDBusMessage call
        = QDBusMessage::createMethodCall(service, path, service, QStringLiteral("Notify"));
    const QVariantMap hints{ { QStringLiteral("desktop-entry"),
                               QStringLiteral("org.vantrelos.pakmart-store") } };
    const int usual = -1; // how long it is shown
    call.setArguments({ i18n("Software Store"), uint(0),
                        QStringLiteral("org.vantrelos.pakmart-store"), i18n("Updates"),
                        i18np("%1 product can be updated.", "%1 products can be updated.", updates),
                        QStringList{ action, i18n("Show the updates") }, hints, usual });
    auto* const watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, &Notifier::onShown);
}

void Notifier::onShown(QDBusPendingCallWatcher* call)
{
    const QDBusPendingReply<uint> reply = *call;
    call->deleteLater();
    if (reply.isError())
        finish(false);
    else
        m_notification = reply.value();
}

void Notifier::onAction(uint notification, const QString& chosen)
{
    if (notification == m_notification && chosen == action)
        finish(true);
}

void Notifier::onClosed(uint notification, uint)
{
    if (notification == m_notification)
        finish(false);
}

void Notifier::finish(bool isWanted)
{
    if (m_hasFinished)
        return;
    m_hasFinished = true;
    m_patience.stop();
    emit finished(isWanted);
}
