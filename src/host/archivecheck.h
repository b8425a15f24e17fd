// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Whether the archives that a change needs are in apt's folder of archives, with the sums that
// the package lists have.

#pragma once

#include "host/outcome.h"
#include "host/toolrun.h"

#include <QByteArray>
#include <QObject>
#include <memory>

namespace Pakmart
{

// One line of the front end's listing: 'URI' NAME SIZE SHA256:SUM
struct ListedArchive {
    QString name; // of the file
    qint64 size = -1;
    QByteArray sum; // SHA-256, in hexadecimal digits

    // The name is empty if the line is invalid or not safe.
    static ListedArchive of(const QString& line);
};

class ArchiveCheck : public QObject
{
    Q_OBJECT

public:
    ~ArchiveCheck() override;

    // Lists the archives of the change with these words for the front end, and reads them in a
    // thread. Ends with `ended`, from the event loop.
    void start(const QStringList& words);
    const Failure& failure() const { return m_failure; }

Q_SIGNALS:
    void ended();

private:
    void onListed(int status);

    std::unique_ptr<ToolRun> m_run;
    QList<ListedArchive> m_listed;
    Failure m_failure;
};

} // namespace Pakmart
