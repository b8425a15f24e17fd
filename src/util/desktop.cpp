// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "util/desktop.h"

#include "support/ctracer.h"
#include "util/logrequest.h"

#include <KMessageBox>
#include <QApplication>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>

using namespace Agent;

void ProcessMessages()
{
    if (QCoreApplication::instance())
        QCoreApplication::processEvents();
}

bool Agent::CanShowWindows()
{
    return qobject_cast<QApplication*>(QCoreApplication::instance()) != nullptr;
}

void Agent::ShowErrorBox(const QString& text)
{
    if (CanShowWindows())
        KMessageBox::error(nullptr, text, QString(), KMessageBox::Notify);
    else
        qCWarning(logRequest, "%s", qUtf8Printable(text));
}

void ShowErrorMsg(const char* text)
{
    CTracer tracer("ShowErrorMsg");
    ShowErrorBox(QString::fromUtf8(text));
}

bool okToDoUpdate(const QString&, const QString&)
{
    CTracer tracer("okToDoUpdate");
    return true;
}

void Agent::BroadcastMenuChange()
{
    CTracer tracer("BroadcastMenuChange");
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    QDBusMessage message = QDBusMessage::createSignal(
        QStringLiteral("/KIPC"), QStringLiteral("org.kde.KIPC"), QStringLiteral("message"));
    message << 32 << 1652;
    bus.send(message);
}
