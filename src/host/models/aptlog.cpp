// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/models/aptlog.h"

#include "base/dpkgstatus.h"
#include "util/showntext.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <algorithm>
#include <memory>
#include <zlib.h>

namespace Pakmart
{

namespace
{

constexpr int mostBytes = 8 << 20; // of a log: the last ones

struct Change {
    QString package; // "a:amd64"
    QStringList versions; // the old one first
};

// "a:amd64 (1.0, automatic), b:amd64 (1, 2)"
QList<Change> ChangesIn(const QString& text)
{
    QList<Change> changes;
    for (int at = 0; at < text.size();) {
        const int open = int(text.indexOf(QLatin1String(" ("), at));
        const int close = int(text.indexOf(QLatin1Char(')'), open));
        if (open < 0 || close < 0)
            break;
        Change change;
        change.package = text.mid(at, open - at).trimmed();
        change.versions = text.mid(open + 2, close - open - 2).split(QStringLiteral(", "));
        change.versions.removeAll(QStringLiteral("automatic"));
        changes << change;
        at = close + 1;
        while (at < text.size() && (text[at] == QLatin1Char(',') || text[at] == QLatin1Char(' ')))
            ++at;
    }
    return changes;
}

// The machine's own architecture is not part of a package's name.
QString NameOf(const Change& change)
{
    const QString own = QLatin1Char(':') + QLatin1String(Agent::NativeArchitecture());
    return change.package.endsWith(own) ? change.package.chopped(own.size()) : change.package;
}

void Finish(AptLog& log, LogEntry& entry)
{
    entry.date
        = QDateTime::fromString(entry.fields.value(QStringLiteral("Start-Date")).simplified(),
                                QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    if (entry.date.isValid()) {
        // Several may begin in one second.
        entry.key = entry.date.toSecsSinceEpoch() * 1000;
        if (!log.entries.empty())
            entry.key = std::max(entry.key, log.entries.back().key + 1);
        log.entries.push_back(entry);
    }
    entry = LogEntry();
}

void TakeEntries(const QByteArray& bytes, AptLog& log)
{
    QByteArray text = bytes;
    QBuffer buffer(&text);
    buffer.open(QIODevice::ReadOnly);
    LogEntry entry;
    while (!buffer.atEnd()) {
        const QString line
            = Agent::ShownText(QString::fromUtf8(buffer.readLine(1 << 20))).trimmed();
        const int colon = int(line.indexOf(QLatin1String(": ")));
        if (line.isEmpty())
            Finish(log, entry);
        else if (colon > 0)
            entry.fields[line.left(colon)] = line.mid(colon + 2);
    }
    Finish(log, entry);
}

// The end of a log, compressed or not; nothing if it cannot be read.
QByteArray LastBytes(const QString& path)
{
    constexpr int most = 1 << 30; // that a small file may unpack to
    const std::unique_ptr<gzFile_s, int (*)(gzFile)> file(
        gzopen(QFile::encodeName(path).constData(), "rbe"), gzclose);
    QByteArray bytes, block(1 << 16, '\0');
    qint64 all = 0;
    int count = file ? 1 : 0;
    while (count > 0 && all < most) {
        count = gzread(file.get(), block.data(), unsigned(block.size()));
        all += std::max(count, 0);
        bytes += block.left(std::max(count, 0));
        if (bytes.size() > 2 * mostBytes)
            bytes = bytes.right(mostBytes);
    }
    return bytes.right(mostBytes);
}

// The older logs, the oldest first: history.log.2.gz before history.log.1.
QStringList OlderLogs(const QString& folder)
{
    static const QRegularExpression form(QStringLiteral("^history\\.log\\.([0-9]{1,4})(\\.gz)?$"));
    QMap<int, QString> logs;
    for (const QString& name : QDir(folder).entryList(QDir::Files)) {
        const QRegularExpressionMatch match = form.match(name);
        if (match.hasMatch())
            logs[-match.captured(1).toInt()] = folder + QLatin1Char('/') + name;
    }
    return logs.values();
}

} // namespace

QStringList LogEntry::packages(const char* field) const
{
    QStringList texts;
    for (const Change& change : ChangesIn(fields.value(QLatin1String(field))))
        texts << change.package + QLatin1Char(' ') + change.versions.join(QStringLiteral(" -> "));
    return texts;
}

Request LogEntry::undoing() const
{
    Request request;
    const auto changes
        = [this](const char* field) { return ChangesIn(fields.value(QLatin1String(field))); };
    for (const Change& change : changes("Install"))
        request.removals << NameOf(change);
    for (const char* field : { "Upgrade", "Downgrade" }) {
        for (const Change& change : changes(field))
            request.packages << NameOf(change) + QLatin1Char('=') + change.versions.value(0);
    }
    for (const char* field : { "Remove", "Purge" }) {
        for (const Change& change : changes(field))
            request.packages << NameOf(change);
    }
    return request;
}

AptLog ReadAptLog(const QString& folder)
{
    AptLog log;
    for (const QString& path : OlderLogs(folder))
        TakeEntries(LastBytes(path), log);
    const QString current = folder + QStringLiteral("/history.log");
    log.isReadable = !QFileInfo::exists(current) || QFile(current).open(QIODevice::ReadOnly);
    if (log.isReadable)
        TakeEntries(LastBytes(current), log);
    std::reverse(log.entries.begin(), log.entries.end());
    return log;
}

} // namespace Pakmart
