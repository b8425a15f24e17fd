// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/beside.h"

#include <QThread>

namespace Pakmart
{

namespace
{

// What a thread wrote is read after its end. Qt's locks see to that as well, but a race
// detector knows nothing of them: the flag is what it sees.
using Ended = std::shared_ptr<std::atomic<bool>>;

QThread* ThreadFor(const std::function<void()>& work, const Ended& ended)
{
    return QThread::create([work, ended] {
        work();
        ended->store(true, std::memory_order_release);
    });
}

void Await(const Ended& ended)
{
    while (!ended->load(std::memory_order_acquire))
        QThread::yieldCurrentThread();
}

} // namespace

void RunBeside(QObject* context, const std::function<void()>& work,
               const std::function<void()>& done)
{
    const auto ended = std::make_shared<std::atomic<bool>>(false);
    QThread* thread = ThreadFor(work, ended);
    QObject::connect(thread, &QThread::finished, context, [ended, done] {
        Await(ended);
        done();
    });
    QObject::connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    thread->start();
}

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
    const auto ended = std::make_shared<std::atomic<bool>>(false);
    m_thread.reset(ThreadFor(work, ended));
    connect(m_thread.get(), &QThread::finished, this, [this, ended, done] {
        Await(ended);
        m_thread->wait();
        m_thread.release()->deleteLater();
        done();
    });
    m_thread->start();
}

} // namespace Pakmart
