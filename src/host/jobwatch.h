// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Pakmart::JobWatch
/// Names each job of the process that begins, whichever part of the host has made it, for
/// whatever shows the progress of KJobs.
///
///     auto* watch = new Pakmart::JobWatch(window);
///     connect(watch, &Pakmart::JobWatch::begun, tracker, &KUiServerV2JobTracker::registerJob);

#pragma once

#include "job.h"

#include <QObject>

namespace Pakmart
{

class VANTRELAGENT_EXPORT JobWatch : public QObject
{
    Q_OBJECT

public:
    /// Jobs that have begun before are not named.
    explicit JobWatch(QObject* parent = nullptr);
    ~JobWatch() override;

Q_SIGNALS:
    /// The job begins now; nothing has been done yet.
    void begun(Pakmart::Job* job);
};

} // namespace Pakmart
