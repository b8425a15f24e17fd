// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/treeturn.h"

#include "host/packagelock.h"
#include "host/privatetreepaths.h"

#include <QCoreApplication>
#include <QList>
#include <utility>

namespace Pakmart
{

namespace
{

constexpr int lookEvery = 50; // milliseconds
constexpr int longestWait = 300000; // for the package lock; then the front end judges

// All transactions of this process; the first one has the tree, or is the next to get it.
QList<TreeTurn*>& Queue()
{
    static QList<TreeTurn*> queue;
    return queue;
}

} // namespace

TreeTurn::TreeTurn() : m_lock(PrivateTree().toStdString())
{
    QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { look(); });
}

TreeTurn::~TreeTurn()
{
    Queue().removeAll(this);
}

void TreeTurn::ask(const Granted& granted, const Waits& waits)
{
    m_granted = granted;
    m_waits = waits;
    Queue().append(this);
    m_timer.start(0);
}

void TreeTurn::look()
{
    m_timer.setInterval(lookEvery);
    const Waits waits = m_waits; // the receiver may delete this object
    if (Queue().first() != this) {
        waits(QCoreApplication::translate("Pakmart", "Waiting for another change to end"));
        return;
    }
    if (!m_lock.TryTake()) {
        waits(QCoreApplication::translate("Pakmart", "Waiting for another installation to end: %1")
                  .arg(QString::fromStdString(m_lock.Holder())));
        return;
    }
    if (m_patience.isForever())
        m_patience.setRemainingTime(longestWait);
    const QString holder = m_patience.hasExpired() ? QString() : HolderOfPackageLock();
    if (!holder.isEmpty()) {
        waits(QCoreApplication::translate("Pakmart",
                                          "Waiting for the package lock, which is held by %1")
                  .arg(holder));
        return;
    }
    m_timer.stop();
    const Granted granted = std::exchange(m_granted, nullptr);
    granted();
}

} // namespace Pakmart
