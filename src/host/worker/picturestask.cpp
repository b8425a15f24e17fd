// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The list of pictures, which the host keeps in its user's cache.

#include "host/worker/tasks.h"

#include <vantrelagent/catalog/capigetpictures.h>

namespace
{

constexpr int sumLength = 64; // without ".png"

QJsonObject Lines(const QUrl& folder, const QMap<int, QString>& names)
{
    QString lines;
    for (auto it = names.begin(); it != names.end(); ++it)
        lines += QString::number(it.key()) + QLatin1Char(' ') + it.value().left(sumLength)
            + QLatin1Char('\n');
    return { { QStringLiteral("folder"), folder.toString(QUrl::FullyEncoded) },
             { QStringLiteral("lines"), lines } };
}

} // namespace

// A store that has no pictures has no such function. It is not asked again for a day either.
Outcome FetchPictures(const QStringList&, Report&)
{
    Outcome outcome;
    auto* request = new CAPIGetPictures(true);
    QJsonObject result = Lines(QUrl(QStringLiteral("none:")), {});
    QObject::connect(request, &CAPIGetPictures::signalPictures,
                     [&result](const QUrl& folder, const QMap<int, QString>& names) {
                         result = Lines(folder, names);
                     });
    if (!RunToItsEnd(request, outcome) && outcome.code != AgentError::UnknownFunction)
        return outcome;
    outcome = Outcome();
    outcome.result = result;
    return outcome;
}
