// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/picturesjob.h"

#include "host/beside.h"
#include "host/picturelist.h"
#include "request/capi.h"

#include <QCoreApplication>
#include <QJsonObject>

namespace Pakmart
{

PicturesJob::PicturesJob(QObject* parent) : StoreJob("pictures", parent)
{
    setDefaultTitle(QCoreApplication::translate("Pakmart", "Fetch the list of pictures"));
}

PicturesJob::~PicturesJob() = default;

void PicturesJob::run()
{
    if (!IsPictureListFresh(CAPI::GetAgentAPIURL())) {
        StoreJob::run();
        return;
    }
    emit resultReady();
    if (!hasEnded()) // killed by a slot
        succeed();
}

// Beside the event loop, since a disk may be slow. A list that cannot be kept is asked for again.
void PicturesJob::takeResult(const QJsonObject& result)
{
    RunBeside(
        QCoreApplication::instance(),
        [store = CAPI::GetAgentAPIURL(), folder = result[QLatin1String("folder")].toString(),
         lines = result[QLatin1String("lines")].toString().toLatin1()] {
            KeepPictureList(store, folder, lines);
        },
        [] {});
}

} // namespace Pakmart
