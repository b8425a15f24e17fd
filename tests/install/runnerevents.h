// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Every signal of a runner, in order, as text.

#pragma once

#include "install/crunaptget.h"

#include <QStringList>

class RunnerEvents
{
public:
    explicit RunnerEvents(CRunAptGet& runner)
    {
        const auto text = [](const std::string& s) { return QString::fromStdString(s); };
        const auto add = [this](const QString& event) { list << event; };
        using R = CRunAptGet;
        QObject::connect(&runner, &R::signalReceivedPackageNames, &runner,
                         [=](const AptGetPackages& packages) {
                             QStringList names;
                             for (const auto& p : packages)
                                 names << text(p.first) + QLatin1Char('=') + text(p.second);
                             add(QLatin1String("names ") + names.join(QLatin1Char(',')));
                         });
        QObject::connect(&runner, &R::signalReceivedTotalBytes, &runner,
                         [=](const std::string& s) { add(QLatin1String("total ") + text(s)); });
        QObject::connect(&runner, &R::signalBeginReceivePackage, &runner,
                         [=](const std::string& n, const std::string& s) {
                             add(QLatin1String("get ") + text(n) + QLatin1Char('|') + text(s));
                         });
        QObject::connect(&runner, &R::signalPackagePulse, &runner, [=](int item, int all) {
            add(QStringLiteral("pulse %1 %2").arg(item).arg(all));
        });
        QObject::connect(&runner, &R::signalEndReceivePackage, &runner,
                         [=](const std::string& n) { add(QLatin1String("got ") + text(n)); });
        QObject::connect(&runner, &R::signalBeginInstall, &runner,
                         [=](const std::string& n) { add(QLatin1String("setup ") + text(n)); });
        QObject::connect(&runner, &R::signalEndInstall, &runner, [=](bool ok) {
            add(ok ? QStringLiteral("end ok") : QStringLiteral("end failed"));
        });
    }
    QStringList list;
};
