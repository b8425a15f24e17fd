// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Pakmart::OpenJob
/// Starts the program of an installed product, and notes it as the one that was used last. The
/// store is not asked.
///
///     auto* job = new Pakmart::OpenJob(1001);
///     connect(job, &KJob::result, host, [job] { show(job->errorString()); });
///     job->start();
///
/// The program is the one of the user's recently used list, into which an install of a product
/// puts it. It is started only if dpkg says that the product's package is installed and has
/// brought this file, whatever path the store has sent. The job ends when the program runs, which
/// goes on without the host.

#pragma once

#include "job.h"

#include <QStringList>

namespace Pakmart
{

class VANTRELAGENT_EXPORT OpenJob : public Job
{
    Q_OBJECT

public:
    /// Prepares the job for the product with this number in the store.
    explicit OpenJob(int serial, QObject* parent = nullptr);
    ~OpenJob() override;

    /// The path of the program that was started, without the private root; empty before.
    QString program() const;
    /// Whether the recently used list has the time of this use; a list that cannot be written is
    /// no failure of the job. False before the end.
    bool isRecorded() const;

    /// Whether a path is that of a program that one of these packages has brought, according to
    /// dpkg's lists of files. Reads files.
    static bool isProgramOf(const QStringList& packages, const QString& path);

protected:
    /// Looks for the program in a thread.
    void run() override;
    /// Ends the job before the program is started.
    void stop() override;
    /// Forgets what is looked for.
    void letGo() override;

private:
    void launch(const QString& program);
    void note();
    void onNoted();

    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace Pakmart
