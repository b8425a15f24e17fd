// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The test's machine image with apt-get and dpkg, and a repository on loopback whose packages
// are made on the spot; and the observation of jobs that work on it.

#pragma once

#include "base/dpkgstatus.h"
#include "host/job.h"
#include "install/crunaptget.h"
#include "tests/common/scriptedserver.h"
#include "tests/common/testarchive.h"

#include <QProcess>
#include <QSignalSpy>
#include <QtTest>

class HostMachine
{
public:
    using Package = TestArchive::Package;

    ScriptedServer server;
    const QString root = QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT"));

    // A new machine without packages, with an empty repository.
    bool setUp()
    {
        for (const char* folder : { "/var", "/usr/bin", "/usr/share" })
            QDir(root + QLatin1String(folder)).removeRecursively();
        QDir(QDir::homePath() + QStringLiteral("/.vos-apt-get")).removeRecursively();
        m_archive = std::make_unique<TestArchive>();
        return QProcess::execute(
                   QStringLiteral(MKROOT),
                   { QStringLiteral("--front-end"), QStringLiteral(VOS_APT_GET), root })
            == 0
            && CRunAptGet::CreateAptGetDirs()
            && write(CRunAptGet::SourcesFile(true), "deb " + server.url("/r") + " . .\n")
            && placeIndex();
    }

    // Adds a package to the repository.
    void add(const Package& package)
    {
        m_archive->add(package);
        const QByteArray bytes = m_archive->contents(m_archive->fileOf(package));
        server.answer(pathOf(package), ScriptedServer::http(bytes));
        if (!placeIndex())
            qFatal("cannot write the index");
    }
    QByteArray pathOf(const Package& package) const
    {
        return "/r/./" + QFileInfo(m_archive->fileOf(package)).fileName().toLatin1();
    }

    static Agent::PackageState stateOf(const char* package)
    {
        return Agent::DpkgStatus(qgetenv("PAKMART_SYSROOT").toStdString() + "/var/lib/dpkg")
            .Of(package);
    }
    // "install ok installed 1.0"
    static QByteArray has(const char* package)
    {
        const Agent::PackageState state = stateOf(package);
        return QByteArray::fromStdString(state.Words() + ' ' + state.version);
    }

private:
    static bool write(const std::string& path, const QByteArray& text)
    {
        QFile file(QString::fromStdString(path));
        return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
    }
    // Places the index as the store's client does.
    bool placeIndex()
    {
        return write(CRunAptGet::ListsDir(true) + "127.0.0.1:" + std::to_string(server.serverPort())
                         + "_r_dists_._._binary-i386_Packages",
                     m_archive->index());
    }

    std::unique_ptr<TestArchive> m_archive;
};

// What a job emits, in words; outlives the job.
class JobWatch : public QObject
{
    Q_OBJECT

public:
    explicit JobWatch(Pakmart::Job* job) : m_job(job)
    {
        using Pakmart::Job;
        connect(job, &KJob::result, this, [this](KJob* ended) { note(ended); });
        connect(job, &Job::phaseChanged, this, [this](Job::Phase phase) {
            phases << QString::fromLatin1(QMetaEnum::fromType<Job::Phase>().valueToKey(phase));
        });
        connect(job, &Job::waitingForChanged, this, [this](const QString& reason) {
            if (!reason.isEmpty())
                waits << reason;
        });
        connect(job, &Job::packageChanged, this, [this](const QString& one) {
            if (!one.isEmpty() && !packages.contains(one))
                packages << one;
        });
        connect(job, &KJob::percentChanged, this, [this](KJob*, unsigned long percent) {
            grows = grows && int(percent) >= m_percent;
            m_percent = int(percent);
        });
    }

    // Starts the job and waits for its end: the name of its error, "none" after a success.
    // Also gives a second result the time to come.
    QString outcome()
    {
        m_job->start();
        return end();
    }
    QString end()
    {
        if (!QTest::qWaitFor([this] { return results > 0; }, 120000))
            return QStringLiteral("no result");
        QTest::qWait(50);
        return results == 1 ? name : QStringLiteral("%1 results").arg(results);
    }
    int percent() const { return m_percent; }

    int results = 0;
    QString name, text, details;
    QStringList phases, waits, packages;
    bool grows = true; // the percentage never decreased

private:
    void note(KJob* ended)
    {
        ++results;
        auto* job = static_cast<Pakmart::Job*>(ended);
        name = Pakmart::Error::name(job->errorCode());
        text = job->errorString();
        details = job->details();
    }

    Pakmart::Job* m_job;
    int m_percent = 0;
};
