// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/worker/report.h"

#include "util/showntext.h"

#include <QJsonDocument>
#include <algorithm>
#include <fcntl.h>
#include <iterator>
#include <unistd.h>
#include <utility>
#include <vantrelagent/request/capi.h>

namespace
{

// Of many lines the last ones say why.
QString PlainLines(const QString& text)
{
    constexpr int most = 200;
    const QStringList lines = text.split(QLatin1Char('\n'));
    QStringList plain;
    for (const QString& line : lines.mid(std::max(0, int(lines.size()) - most)))
        plain << Plain(line);
    return plain.join(QLatin1Char('\n'));
}

} // namespace

Report::Report() : m_output(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3))
{
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere >= 0) {
        dup2(nowhere, STDOUT_FILENO);
        close(nowhere);
    }
    m_last.start();
}

void Report::waits(const QString& text)
{
    write({ { QStringLiteral("waits"), Plain(text) } });
}

// Ten times a second is often enough for a progress bar.
bool Report::isTime()
{
    constexpr qint64 pause = 100; // milliseconds
    if (!m_last.hasExpired(pause))
        return false;
    m_last.restart();
    return true;
}

void Report::received(qint64 bytes, qint64 total)
{
    if (bytes == total || isTime())
        write({ { QStringLiteral("received"), double(bytes) },
                { QStringLiteral("total"), double(total) } });
}

// The first call begins a phase, which is never left out.
void Report::stored(double share)
{
    const bool isFirst = !std::exchange(m_stores, true);
    if (isFirst || isTime())
        write({ { QStringLiteral("stored"), share } });
}

void Report::end(const Outcome& outcome)
{
    write({ { QStringLiteral("end"), AgentError::Name(outcome.code) },
            { QStringLiteral("sentence"), Plain(outcome.sentence) },
            { QStringLiteral("details"), PlainLines(outcome.details) },
            { QStringLiteral("result"), outcome.result } });
}

// If nobody reads any more, the host is gone, and the worker ends by itself.
void Report::write(const QJsonObject& object) const
{
    const QByteArray line = QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
    for (qint64 at = 0; at < line.size();) {
        const auto written
            = ::write(m_output, line.constData() + at, std::size_t(line.size() - at));
        if (written <= 0)
            return;
        at += written;
    }
}

void NoteFailure(CAPI* request, Outcome& outcome)
{
    QObject::connect(
        request, &CAPI::signalFailure,
        [&outcome](AgentError::Code code, const QString& sentence, const QString& details) {
            outcome.code = code;
            outcome.sentence = sentence;
            // The host has a sentence of its own for the code.
            const bool isUsual = sentence == AgentError::Sentence(code) && !details.isEmpty();
            outcome.details
                = isUsual ? details : (sentence + QLatin1Char('\n') + details).trimmed();
        });
}

QString Plain(const QString& text)
{
    constexpr int longest = 1000;
    return Agent::ShownLine(text.left(longest));
}
