// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Observes the library from outside: its standard output, its trace, its boxes. Also
// changes its settings.

#pragma once

#include "support/cconfigfile.h"
#include "support/ctracer.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QFile>
#include <QLabel>
#include <QStringList>
#include <QTemporaryFile>
#include <QTimer>
#include <cstdio>
#include <unistd.h>

// Collects standard output as long as the object lives.
class StandardOutput
{
public:
    StandardOutput()
    {
        if (!m_file.open())
            qFatal("cannot make a file for standard output");
        std::fflush(stdout);
        m_saved = dup(STDOUT_FILENO);
        dup2(m_file.handle(), STDOUT_FILENO);
    }
    ~StandardOutput()
    {
        std::fflush(stdout);
        dup2(m_saved, STDOUT_FILENO);
        close(m_saved);
    }
    StandardOutput(const StandardOutput&) = delete;
    StandardOutput& operator=(const StandardOutput&) = delete;

    QByteArray text() const
    {
        std::fflush(stdout);
        QFile file(m_file.fileName());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    // The lines so far; the last one is empty if the text ends with a line end.
    QStringList lines() const { return QString::fromUtf8(text()).split(QLatin1Char('\n')); }

private:
    QTemporaryFile m_file;
    int m_saved = -1;
};

// Collects the trace as long as it lives: "+scope", "-scope" and lines.
class Trace
{
public:
    Trace()
    {
        m_before = CTracer::SetSink([this](CTracer::Event event, const std::string& text) {
            const char* mark = event == CTracer::Event::Enter ? "+"
                : event == CTracer::Event::Leave              ? "-"
                                                              : "";
            m_events.append(QLatin1String(mark) + QString::fromStdString(text));
        });
    }
    ~Trace() { CTracer::SetSink(m_before); }
    Trace(const Trace&) = delete;
    Trace& operator=(const Trace&) = delete;

    const QStringList& events() const { return m_events; }

private:
    CTracer::Sink m_before;
    QStringList m_events;
};

// Closes each modal box that opens, as long as the object lives, and keeps its text.
class BoxCloser
{
public:
    BoxCloser()
    {
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { look(); });
        m_timer.start(5);
    }
    QStringList texts;

private:
    void look()
    {
        auto* box = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        if (!box)
            return;
        QStringList labels;
        for (const QLabel* label : box->findChildren<QLabel*>()) {
            if (!label->text().isEmpty())
                labels << label->text();
        }
        texts << labels.join(QLatin1Char('|'));
        box->reject();
    }
    QTimer m_timer;
};

// Sets a key of the agent's settings on the test's machine image.
inline void Setting(const std::string& key, const std::string& value)
{
    const std::string name
        = std::string(getenv("PAKMART_SYSROOT")) + "/usr/share/apps/vantrelagent/.vauf";
    if (!CConfigFile(name, true).SetValue(key, value, true))
        qFatal("cannot write the settings");
}
