// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The base of the elements that are one kind of job each: started with start(), and reported
// with finished(). What a job has brought stays until the end of the next one.

#pragma once

#include "jobrun.h"

#include <QVariant>

namespace Pakmart
{

class JobElement : public JobRun
{
    Q_OBJECT
    // For the list of pending jobs; empty for that of the job's kind.
    Q_PROPERTY(QString title MEMBER m_title NOTIFY titleChanged)

public:
    // Does nothing while a job runs.
    Q_INVOKABLE void start();

Q_SIGNALS:
    void titleChanged();
    // The job has ended: its values are there, or there is an error.
    void finished();

protected:
    explicit JobElement(QObject* parent) : JobRun(parent) { }

    virtual Job* make() = 0;

    // A value of the last job that has ended, or an empty one.
    template <typename JobType, typename Value> Value value(Value (JobType::*get)() const) const
    {
        const auto* const job = qobject_cast<const JobType*>(m_ended.data());
        return job ? (job->*get)() : Value();
    }
    // The same for a list, whose elements QML reads by their properties.
    template <typename JobType, typename Value>
    QVariantList list(QList<Value> (JobType::*get)() const) const
    {
        QVariantList values;
        for (const Value& one : value(get))
            values << QVariant::fromValue(one);
        return values;
    }

private:
    QString m_title;
    QPointer<Job> m_ended;
};

} // namespace Pakmart
