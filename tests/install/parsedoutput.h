// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A runner that has parsed an output of the front end as in a run.

#pragma once

#include "runnerevents.h"

#include <QByteArray>

struct ParsedOutput {
    CRunAptGet runner;
    RunnerEvents events{ runner };
    bool inList = false, inError = false;

    ParsedOutput() = default;
    explicit ParsedOutput(const QByteArray& bytes) { feed(bytes); }

    void feed(const QByteArray& bytes)
    {
        if (bytes.isEmpty())
            return;
        FILE* stream
            = fmemopen(const_cast<char*>(bytes.constData()), std::size_t(bytes.size()), "r");
        char buffer[2048];
        int length = 0;
        while (runner.readLine(buffer, sizeof buffer, stream, length))
            runner.parseLine(buffer, length, inList, inError);
        if (length > 0)
            runner.parseLine(buffer, length, inList, inError);
        std::fclose(stream);
    }
    QStringList errors() const { return toList(runner.Errors()); }
    QStringList messages() const { return toList(runner.Messages()); }
    QStringList files() const { return toList(runner.PackageFiles()); }

    static QStringList toList(const std::vector<std::string>& texts)
    {
        QStringList list;
        for (const std::string& text : texts)
            list << QString::fromStdString(text);
        return list;
    }
};
