// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The jobs that check, repair and update the machine, as elements with the names of the jobs.

#pragma once

#include "jobelement.h"

#include <Pakmart/CheckJob>
#include <Pakmart/RepairJob>
#include <Pakmart/SystemUpdateJob>

namespace Pakmart
{

class CheckElement : public JobElement
{
    Q_OBJECT
    // Values with the properties of RepairFinding.
    Q_PROPERTY(QVariantList findings READ findings NOTIFY finished)

public:
    explicit CheckElement(QObject* parent = nullptr) : JobElement(parent) { }

    QVariantList findings() const { return list(&CheckJob::findings); }

protected:
    Job* make() override { return new CheckJob(this); }
};

class RepairElement : public JobElement
{
    Q_OBJECT
    // Values with the properties of RepairFinding; also after a failure.
    Q_PROPERTY(QVariantList findings READ findings NOTIFY finished)
    // Whether the user agrees to removals that nobody asked for.
    Q_PROPERTY(bool allowRemovals MEMBER m_allowRemovals NOTIFY allowRemovalsChanged)

public:
    explicit RepairElement(QObject* parent = nullptr) : JobElement(parent) { }

    QVariantList findings() const { return list(&RepairJob::findings); }

Q_SIGNALS:
    void allowRemovalsChanged();

protected:
    Job* make() override;

private:
    bool m_allowRemovals = false;
};

// Without a preview. A Transaction with Request.SystemUpdate has one.
class SystemUpdateElement : public JobElement
{
    Q_OBJECT
    // Whether this library was updated: the host should be restarted.
    Q_PROPERTY(bool agentUpdated READ isAgentUpdated NOTIFY finished)
    // Whether the user agrees to removals that nobody asked for.
    Q_PROPERTY(bool allowRemovals MEMBER m_allowRemovals NOTIFY allowRemovalsChanged)

public:
    explicit SystemUpdateElement(QObject* parent = nullptr) : JobElement(parent) { }

    bool isAgentUpdated() const { return value(&SystemUpdateJob::isAgentUpdated); }

Q_SIGNALS:
    void allowRemovalsChanged();

protected:
    Job* make() override;

private:
    bool m_allowRemovals = false;
};

} // namespace Pakmart
