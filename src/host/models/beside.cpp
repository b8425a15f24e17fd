// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/models/beside.h"

#include <QThread>

namespace Pakmart
{

Beside::Beside(QObject* parent) : QObject(parent) { }

Beside::~Beside()
{
    cancel();
    if (m_thread)
        m_thread->wait();
}

void Beside::start(const std::function<void()>& work, const std::function<void()>& done)
{
    m_cancelled = false;
    m_thread.reset(QThread::create(work));
    connect(m_thread.get(), &QThread::finished, this, [this, done] {
        m_thread->wait();
        m_thread.release()->deleteLater();
        done();
    });
    m_thread->start();
}

} // namespace Pakmart
