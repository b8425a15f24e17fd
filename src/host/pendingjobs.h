// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The jobs of this process that have not ended, as values.

#pragma once

#include "host/job.h"

#include <QPointer>
#include <vector>

namespace Pakmart
{

struct PendingJob {
    qint64 key = 0;
    QString title;
    Job::Phase phase = Job::NotStarted;
    QString package;
    int percent = 0;
    bool isCancellable = true;
    QString waitingFor;

    bool operator==(const PendingJob& other) const
    {
        return key == other.key && title == other.title && phase == other.phase
            && package == other.package && percent == other.percent
            && isCancellable == other.isCancellable && waitingFor == other.waitingFor;
    }
};

class PendingJobs : public QObject
{
    Q_OBJECT

public:
    static PendingJobs& all();

    // A second time does nothing. Without a title, the job's own is shown.
    void add(Job* job, const QString& title = QString());
    void cancel(qint64 key);
    std::vector<PendingJob> jobs() const;

Q_SIGNALS:
    void changed();
    void added(Pakmart::Job* job);

private:
    struct Item {
        QPointer<Job> job;
        PendingJob values;
    };

    void take(qint64 key);
    void remove(qint64 key);

    std::vector<Item> m_items;
    qint64 m_last = 0;
};

} // namespace Pakmart
