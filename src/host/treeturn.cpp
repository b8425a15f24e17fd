// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/treeturn.h"

#include "host/privatetreepaths.h"

#include <QCoreApplication>
#include <QList>
#include <utility>

namespace Pakmart
{

namespace
{

constexpr int LookEvery = 50; // milliseconds

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
    m_timer.setInterval(LookEvery);
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
    m_timer.stop();
    const Granted granted = std::exchange(m_granted, nullptr);
    granted();
}

} // namespace Pakmart
