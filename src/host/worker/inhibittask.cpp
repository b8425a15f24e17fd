// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Keeps the machine from being shut down for as long as this process lives.

#include "host/worker/tasks.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusUnixFileDescriptor>

// The words: the name of the host, and why.
Outcome InhibitShutdown(const QStringList& words, Report& report)
{
    Outcome outcome;
    outcome.code = AgentError::NotPermitted;
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected())
        return outcome;
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
        QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("Inhibit"));
    call << QStringLiteral("shutdown") << words.value(0) << words.value(1)
         << QStringLiteral("block");
    // The inhibition ends when the descriptor is closed.
    const QDBusReply<QDBusUnixFileDescriptor> inhibition = bus.call(call);
    if (!inhibition.isValid())
        return outcome;
    report.stored(1);
    WaitForStop();
    outcome.code = AgentError::NoFailure;
    return outcome;
}
