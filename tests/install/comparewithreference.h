// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Compares how the library and the reference parse an output.

#pragma once

#include "parsedoutput.h"
#include "referenceparser.h"

#include <QDebug>

// Describes the difference, with an empty text for equal results. `parsed` has parsed `bytes`.
inline QString DifferenceFromReference(const ParsedOutput& parsed, const QByteArray& bytes)
{
    const ReferenceParser expected(bytes.toStdString());
    QString difference;
    const auto compare = [&](const char* what, const auto& actual, const auto& wanted) {
        if (actual == wanted || !difference.isEmpty())
            return;
        QDebug(&difference) << what << actual << "instead of" << wanted << "for" << bytes;
    };
    const auto list = ParsedOutput::toList;
    const auto pairs = [](const auto& map) {
        QStringList texts;
        for (const auto& [name, size] : map)
            texts << QString::fromStdString(name) << QString::fromStdString(size);
        return texts;
    };
    compare("signals", parsed.events.list, list(expected.events));
    compare("messages", parsed.messages(), list(expected.messages));
    compare("errors", parsed.errors(), list(expected.errors));
    compare("files", parsed.files(), list(expected.files));
    compare("total size", list({ parsed.runner.TotalSize() }), list({ expected.total }));
    compare("packages", pairs(parsed.runner.Packages()), pairs(expected.packages));
    compare("open list", parsed.inList, expected.inList);
    compare("open error", parsed.inError, expected.inError);
    return difference;
}
