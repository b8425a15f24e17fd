// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The base of tests of one story of pakmart each, on real package tools: a store of packages
// made on the spot, and what the person sees.

#pragma once

#include "archivestore.h"
#include "tests/common/statusfile.h"

#include <QDir>
#include <QDirIterator>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

class Story : protected ArchiveStore
{
protected:
    struct Result {
        int status = -1;
        QString out, err;

        QJsonObject json() const { return QJsonDocument::fromJson(out.toUtf8()).object(); }
    };

    // A machine with a store of these packages; each is a product, too, "The NAME".
    void begin(const QList<TestArchive::Package>& packages)
    {
        makeRoot();
        QByteArray products;
        int serial = 0;
        for (const TestArchive::Package& package : packages)
            products += "Serial: " + QByteArray::number(++serial) + "\nName: The "
                + QByteArray(package.name) + "\nCategory: Games\nPackage: "
                + QByteArray(package.name) + "\nDescription: d\n\n";
        QVERIFY(write("products", products));
        QVERIFY(write("updates", ""));
        publish(packages);
        serve();
    }
    void end() { m_server.reset(); }

    // A text as the person sees it, without what is chance: the port of the store, and how far
    // it is at which moment.
    static QString seen(QString text)
    {
        text.replace(QRegularExpression(QStringLiteral("127\\.0\\.0\\.1[: ]\\d+")),
                     QStringLiteral("STORE"));
        return text.remove(
            QRegularExpression(QStringLiteral("^ +\\d+%\n"), QRegularExpression::MultilineOption));
    }
    // apt keeps what it has fetched.
    void forgetArchives() const
    {
        for (const QString& folder : { m_root, QDir::homePath() }) {
            QDirIterator files(folder, { QStringLiteral("*.deb") }, QDir::Files | QDir::Hidden,
                               QDirIterator::Subdirectories);
            while (files.hasNext())
                QVERIFY(QFile::remove(files.next()));
        }
    }
    static void start(QProcess& process, const char* words)
    {
        process.start(QStringLiteral(PAKMART),
                      QString::fromUtf8(words).split(QLatin1Char(' '), Qt::SkipEmptyParts));
    }
    static Result resultOf(QProcess& process)
    {
        if (!process.waitForFinished(120000))
            qFatal("pakmart does not end");
        return { process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                 QString::fromUtf8(process.readAllStandardOutput()),
                 QString::fromUtf8(process.readAllStandardError()) };
    }
    static Result pakmart(const char* words, const QByteArray& input = QByteArray())
    {
        QProcess process;
        start(process, words);
        process.write(input);
        process.closeWriteChannel();
        return resultOf(process);
    }
};
