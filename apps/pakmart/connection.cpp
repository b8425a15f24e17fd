// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "connection.h"

#include "console.h"

#include <KLocalizedString>
#include <QEventLoop>
#include <QSslSocket>
#include <QTimer>
#include <QUrl>

QString ObstacleTo(const QUrl& url)
{
    constexpr int patience = 10000; // milliseconds
    const bool isSecure = url.scheme() == QLatin1String("https");
    const int port = url.port(isSecure ? 443 : 80);
    QSslSocket socket;
    QEventLoop loop;
    const Interrupt::Handler handler([&loop] { loop.quit(); });
    QString obstacle
        = i18np("no connection in %1 second", "no connection in %1 seconds", patience / 1000);
    const auto connected = [&] {
        obstacle.clear();
        loop.quit();
    };
    QObject::connect(&socket, isSecure ? &QSslSocket::encrypted : &QSslSocket::connected,
                     connected);
    QObject::connect(&socket, &QSslSocket::errorOccurred, &loop, [&] {
        obstacle = socket.errorString();
        loop.quit();
    });
    QTimer::singleShot(patience, &loop, &QEventLoop::quit);
    if (isSecure)
        socket.connectToHostEncrypted(url.host(), quint16(port));
    else
        socket.connectToHost(url.host(), quint16(port));
    loop.exec();
    return obstacle.isEmpty() || Interrupt::Received()
        ? QString()
        : QStringLiteral("%1:%2: %3").arg(url.host()).arg(port).arg(obstacle);
}
