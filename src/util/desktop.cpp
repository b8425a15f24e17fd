// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "util/desktop.h"

#include <KMessageBox>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>

void ProcessMessages()
{
    if (QCoreApplication::instance())
        QCoreApplication::processEvents();
}

void ShowErrorMsg(const char* text)
{
    KMessageBox::error(nullptr, QString::fromUtf8(text), QString(), KMessageBox::Notify);
}

bool okToDoUpdate(const QString&, const QString&)
{
    return true;
}

void BroadcastMenuChange()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    QDBusMessage message = QDBusMessage::createSignal(
        QStringLiteral("/KIPC"), QStringLiteral("org.kde.KIPC"), QStringLiteral("message"));
    message << 32 << 1652;
    bus.send(message);
}
