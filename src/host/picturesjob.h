// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Pakmart::PicturesJob
/// Fetches the store's list of pictures, at most once a day, and keeps it in the user's cache.
/// Product::picture has the addresses: the models notice a new list by themselves, soon after
/// the end of the job.
///
///     auto* job = new Pakmart::PicturesJob;
///     job->start();
///
/// A store without pictures is a success with an empty list. If the job does not succeed, the
/// kept list stays in use, and the next job asks again.

#pragma once

#include "storejob.h"

namespace Pakmart
{

class VANTRELAGENT_EXPORT PicturesJob : public StoreJob
{
    Q_OBJECT

public:
    /// Prepares the job.
    explicit PicturesJob(QObject* parent = nullptr);
    ~PicturesJob() override;

protected:
    /// Asks the store, unless the kept list is less than a day old.
    void run() override;
    /// From the worker.
    void takeResult(const QJsonObject& result) override;
};

} // namespace Pakmart
