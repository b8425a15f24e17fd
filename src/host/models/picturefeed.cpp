// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/models/picturefeed.h"

#include "host/beside.h"
#include "request/capi.h"

#include <utility>

namespace Pakmart
{

std::shared_ptr<PictureFeed> PictureFeed::shared()
{
    static std::weak_ptr<PictureFeed> shared;
    std::shared_ptr<PictureFeed> feed = shared.lock();
    if (!feed)
        shared = feed = std::shared_ptr<PictureFeed>(new PictureFeed);
    return feed;
}

PictureFeed::PictureFeed() : m_watch(PictureListFolder(), QLatin1String(pictureListName))
{
    connect(&m_watch, &PathWatch::changed, this, &PictureFeed::read);
    read();
}

void PictureFeed::read()
{
    if (m_isReading) {
        m_isAskedAgain = true;
        return;
    }
    m_isReading = true;
    m_isAskedAgain = false;
    const auto list = std::make_shared<PictureList>();
    RunBeside(
        this, [list, store = CAPI::GetAgentAPIURL()] { *list = ReadPictureList(store); },
        [this, list] {
            m_isReading = false;
            const bool isNew = list->folder != m_list->folder || list->sums != m_list->sums;
            m_list = list;
            if (isNew)
                emit changed();
            if (m_isAskedAgain)
                read();
        });
}

} // namespace Pakmart
