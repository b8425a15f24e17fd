// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Work in a thread beside the event loop.

#pragma once

#include <QObject>
#include <atomic>
#include <functional>
#include <memory>

class QThread;

namespace Pakmart
{

// Calls `work` in a thread that belongs to nobody, and then `done` from the event loop, unless
// `context` is gone by then.
void RunBeside(QObject* context, const std::function<void()>& work,
               const std::function<void()>& done);

// The same for one who needs an end to it: one piece of work at a time, which can be cancelled.
class Beside : public QObject
{
    Q_OBJECT

public:
    explicit Beside(QObject* parent = nullptr);
    // Cancels the work and waits for its end.
    ~Beside() override;

    bool isRunning() const { return m_thread != nullptr; }
    // Calls `work` in a thread, and then `done` from the event loop. Not while it is running.
    void start(const std::function<void()>& work, const std::function<void()>& done);
    // Asks the work to end; `done` follows nevertheless.
    void cancel() { m_cancelled = true; }
    // For the work, now and then.
    bool isCancelled() const { return m_cancelled; }
    // For the work: emits Reported from the event loop.
    void report() { emit reported(); }

Q_SIGNALS:
    void reported();

private:
    std::unique_ptr<QThread> m_thread;
    std::atomic<bool> m_cancelled{ false };
};

} // namespace Pakmart
