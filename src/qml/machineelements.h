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

// The base of those that change packages.
class ChangingElement : public JobElement
{
    Q_OBJECT
    // Whether the user agrees to removals that nobody asked for.
    Q_PROPERTY(bool allowRemovals MEMBER m_allowRemovals NOTIFY allowRemovalsChanged)

Q_SIGNALS:
    void allowRemovalsChanged();

protected:
    explicit ChangingElement(QObject* parent) : JobElement(parent) { }

    Job* permitted(CommitJob* job) const
    {
        job->setAllowRemovals(m_allowRemovals);
        return job;
    }

private:
    bool m_allowRemovals = false;
};

class RepairElement : public ChangingElement
{
    Q_OBJECT
    // Values with the properties of RepairFinding; also after a failure.
    Q_PROPERTY(QVariantList findings READ findings NOTIFY finished)

public:
    explicit RepairElement(QObject* parent = nullptr) : ChangingElement(parent) { }

    QVariantList findings() const { return list(&RepairJob::findings); }

protected:
    Job* make() override { return permitted(new RepairJob(this)); }
};

// Without a preview. A Transaction with Request.SystemUpdate has one.
class SystemUpdateElement : public ChangingElement
{
    Q_OBJECT
    // Whether this library was updated: the host should be restarted.
    Q_PROPERTY(bool agentUpdated READ isAgentUpdated NOTIFY finished)

public:
    explicit SystemUpdateElement(QObject* parent = nullptr) : ChangingElement(parent) { }

    bool isAgentUpdated() const { return value(&SystemUpdateJob::isAgentUpdated); }

protected:
    Job* make() override { return permitted(new SystemUpdateJob(this)); }
};

} // namespace Pakmart
