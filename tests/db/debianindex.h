// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A simple reader of Debian package indexes, to load a catalog of the size of a
// distribution.

#pragma once

#include "base/text.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QDir>
#include <QProcess>
#include <vector>

struct DebianPackage {
    QByteArray name, version, section, maintainer, homepage, description;
    QByteArrayList depends; // names in the order of the index, with repetitions
    int size = 0;
    int installedSize = 0;
};

// The names in a relation such as "a (>= 1) | b, c:any": a, b, c:any.
inline QByteArrayList NamesOfRelation(QByteArray relation)
{
    QByteArrayList names;
    for (const QByteArray& part : relation.replace('|', ',').split(',')) {
        const QByteArray text = part.trimmed();
        int end = 0;
        while (end < text.size() && !strchr(" \t\n(", text[end]))
            ++end;
        if (end > 0)
            names << text.left(end);
    }
    return names;
}

inline DebianPackage ParseStanza(const QByteArrayList& lines)
{
    DebianPackage package;
    QByteArray* description = nullptr;
    for (const QByteArray& line : lines) {
        if (line.startsWith(' ') || line.startsWith('\t')) {
            if (description)
                *description += '\n' + line;
            continue;
        }
        description = nullptr;
        const int colon = line.indexOf(':');
        const QByteArray field = line.left(colon).toLower();
        const QByteArray value = line.mid(colon + 1).trimmed();
        if (field == "package")
            package.name = value;
        else if (field == "version")
            package.version = value;
        else if (field == "section")
            package.section = value;
        else if (field == "maintainer")
            package.maintainer = value;
        else if (field == "homepage")
            package.homepage = value;
        else if (field == "depends")
            package.depends = NamesOfRelation(value);
        else if (field == "size")
            package.size = Agent::LeadingNumber(value.toStdString());
        else if (field == "installed-size")
            package.installedSize = value.toInt();
        else if (field == "description")
            *(description = &package.description) = line.mid(colon + 1);
    }
    package.description = package.description.trimmed();
    return package;
}

inline std::vector<DebianPackage> ParseIndex(const QByteArray& text)
{
    std::vector<DebianPackage> packages;
    QByteArrayList stanza;
    const auto end = [&] {
        if (!stanza.isEmpty())
            packages.push_back(ParseStanza(stanza));
        stanza.clear();
    };
    for (int at = 0; at < text.size();) {
        const int lineEnd = text.indexOf('\n', at) < 0 ? text.size() : text.indexOf('\n', at);
        const QByteArray line = text.mid(at, lineEnd - at);
        if (line.trimmed().isEmpty())
            end();
        else
            stanza << line;
        at = lineEnd + 1;
    }
    end();
    return packages;
}

// An index file as text, whatever its compression.
inline QByteArray ReadIndex(const QString& path)
{
    QProcess helper;
    helper.start(QStringLiteral("/usr/lib/apt/apt-helper"), { QStringLiteral("cat-file"), path });
    if (!helper.waitForFinished(120000) || helper.exitCode() != 0)
        return QByteArray();
    return helper.readAllStandardOutput();
}

// The largest package index that apt keeps on this machine; empty without one.
inline QString LargestIndex()
{
    const QFileInfoList files
        = QDir(QStringLiteral("/var/lib/apt/lists"))
              .entryInfoList({ QStringLiteral("*_Packages"), QStringLiteral("*_Packages.*") },
                             QDir::Files | QDir::Readable, QDir::Size);
    return files.isEmpty() ? QString() : files.first().filePath();
}
