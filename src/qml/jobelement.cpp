// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "jobelement.h"

namespace Pakmart
{

void JobElement::start()
{
    if (isRunning())
        return;
    Job* const job = make();
    job->setAutoDelete(false);
    connect(job, &KJob::result, this, [this, job] {
        if (m_ended)
            m_ended->deleteLater(); // its own result may be what has started this one
        m_ended = job;
        end();
        emit finished();
    });
    job->setTitle(m_title);
    follow(job);
}

} // namespace Pakmart
