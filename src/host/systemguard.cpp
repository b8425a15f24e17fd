// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/systemguard.h"

#include <QCoreApplication>
#include <QGuiApplication>

namespace Pakmart
{

// The worker waits for the bus; the host never does.
SystemGuard::SystemGuard()
{
    const QString host = QGuiApplication::applicationDisplayName().isEmpty()
        ? QCoreApplication::applicationName()
        : QGuiApplication::applicationDisplayName();
    m_inhibition.start({ QStringLiteral("inhibit"), host,
                         QCoreApplication::translate("Pakmart", "Packages are being changed") });
}

} // namespace Pakmart
