// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The queue of transactions on the user's private tree: one at a time in this process, by a
// list, and one at a time among processes, by the tree's lock file. The first one also waits
// for the lock of apt and dpkg: a plan that was made while another program changes packages,
// or what a killed host has started, would be outdated when it is carried out. Nobody blocks:
// a transaction that has to wait looks again now and then.

#pragma once

#include "install/privatetree.h"

#include <QDeadlineTimer>
#include <QTimer>
#include <functional>

namespace Pakmart
{

class TreeTurn
{
public:
    TreeTurn();
    // Leaves the queue, or gives the tree back.
    ~TreeTurn();
    TreeTurn(const TreeTurn&) = delete;
    TreeTurn& operator=(const TreeTurn&) = delete;

    using Granted = std::function<void()>;
    using Waits = std::function<void(const QString& text)>;
    // Takes a place in the queue. `granted` is called from the event loop, once; before that,
    // `waits` with a sentence for the user if others have the tree.
    void ask(const Granted& granted, const Waits& waits);

private:
    void look();

    Agent::TreeLock m_lock;
    Granted m_granted;
    Waits m_waits;
    QTimer m_timer;
    QDeadlineTimer m_patience{ QDeadlineTimer::Forever }; // with the package lock's holder
};

} // namespace Pakmart
