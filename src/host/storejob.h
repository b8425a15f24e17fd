// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Pakmart::StoreJob
/// The base of the jobs that ask the store server and change no package. Each of them
/// runs in a process of its own, so that the host is never blocked and never entered from
/// within; a host that is killed leaves nothing half-written.
///
/// Jobs of the same class take turns in a process. KJob's own signals report the bytes, and the
/// speed, of a reply whose size matters. All of these jobs can be cancelled at any time.
///
/// The results are those of a success, and empty before; resultReady() is emitted
/// immediately before KJob::result.

#pragma once

#include "job.h"

class QJsonObject;

namespace Pakmart
{

class StoreSteps;

class VANTRELAGENT_EXPORT StoreJob : public Job
{
    Q_OBJECT

public:
    ~StoreJob() override;

Q_SIGNALS:
    /// The job has succeeded, and the properties of its class have their values.
    void resultReady();

protected:
    /// For jobs of this library only: the name of the worker's task.
    StoreJob(const char* task, QObject* parent);

    /// Takes the values of a success over.
    virtual void takeResult(const QJsonObject& result) = 0;

    /// Asks for the turn.
    void run() override;
    /// Ends the wait, or the request.
    void stop() override;
    /// Leaves what runs, which ends by itself.
    void letGo() override;

private:
    friend class StoreSteps;
    const std::unique_ptr<StoreSteps> m_steps;
};

} // namespace Pakmart
