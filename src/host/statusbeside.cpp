// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/statusbeside.h"

#include "util/paths.h"

#include <QThread>

namespace Pakmart
{

void ReadStatusBeside(QObject* context, const std::function<void(const SharedStatus&)>& done)
{
    const auto result = std::make_shared<SharedStatus>();
    QThread* thread
        = QThread::create([result, folder = Agent::SystemPath(std::string("/var/lib/dpkg"))] {
              *result = std::make_shared<const Agent::DpkgStatus>(folder);
          });
    QObject::connect(thread, &QThread::finished, context, [result, done] { done(*result); });
    QObject::connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    thread->start();
}

} // namespace Pakmart
