// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The catalog of a machine belongs to a user of its own, as whom it is refreshed: without a
// password, and never by root. Other users start the service that does it.

#pragma once

#include "host/outcome.h"

#include <QDateTime>
#include <QJsonObject>
#include <QObject>
#include <QProcess>
#include <memory>
#include <optional>

namespace Pakmart
{

// What has the owner refresh the catalog. The result is on its output, or in the file.
struct OwnerCommand {
    QString program;
    QStringList arguments;
    QString resultFile;
};

// Nothing if this process may refresh the catalog itself: it works in a private root, or may
// write the data folder, and is not root.
std::optional<OwnerCommand> CommandOfCatalogOwner();

// A run of that command.
class OwnerRun : public QObject
{
    Q_OBJECT

public:
    OwnerRun() = default;
    // Emits nothing any more. A service that was started goes on.
    ~OwnerRun() override;

    void start(const OwnerCommand& command);
    // Ends the command, which `ended` follows.
    void stop();
    // Lets a run go from within its own signal.
    static void letGo(std::unique_ptr<OwnerRun> run);

    const Failure& failure() const { return m_failure; }
    QString details() const { return m_details; }
    // As the worker's task reports it.
    const QJsonObject& result() const { return m_result; }

Q_SIGNALS:
    void ended();

private:
    void detach();
    void onFinished();
    void takeFailure(const QJsonObject& answer);
    QJsonObject answer();

    OwnerCommand m_command;
    QDateTime m_begin;
    std::unique_ptr<QProcess> m_process;
    Failure m_failure;
    QString m_details;
    QJsonObject m_result;
};

} // namespace Pakmart
