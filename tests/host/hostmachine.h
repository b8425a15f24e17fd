// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A repository and its machine, as the package tools see it, and the observation of jobs that
// work on it.

#pragma once

#include "base/dpkgstatus.h"
#include "host/job.h"
#include "tests/common/pulse.h"
#include "tests/host/repository.h"

#include <QDateTime>
#include <QEventLoop>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QtTest>
#include <algorithm>
#include <fcntl.h>

class HostMachine : public Repository
{
public:
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
    // Answers requests for the package's archive with nothing.
    void stall(const Package& package)
    {
        server.answer(pathOf(package), [](QTcpSocket*, const QByteArray&) {});
    }
    bool isFetching(const Package& package) const { return server.asked.contains(pathOf(package)); }
    // Puts a front end in place that notes its command lines.
    void noteRuns() const
    {
        QFile program(root + QStringLiteral("/usr/bin/vos-apt-get"));
        program.remove(); // a link
        if (!program.open(QIODevice::WriteOnly))
            qFatal("no front end");
        program.write("#!/bin/sh\necho \"$*\" >> '" + QFile::encodeName(runs())
                      + "'\nexec '" VOS_APT_GET "' \"$@\"\n");
        program.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QFile::remove(runs());
    }
    // The number of these lines that have the words in them.
    int runsWith(const char* words) const
    {
        QFile file(runs());
        if (!file.open(QIODevice::ReadOnly))
            return 0;
        const QList<QByteArray> lines = file.readAll().split('\n');
        return int(std::count_if(lines.begin(), lines.end(),
                                 [words](const QByteArray& one) { return one.contains(words); }));
    }
    // A file of the machine, or below "/home", gets an empty line more, that many seconds ago.
    void addEmptyLine(const QString& path, int age) const
    {
        const QString home = QStringLiteral("/home");
        const QString file
            = path.startsWith(home) ? QDir::homePath() + path.mid(home.size()) : root + path;
        QDir().mkpath(QFileInfo(file).path());
        QFile opened(file);
        if (!opened.open(QIODevice::Append) || opened.write("\n") != 1 || !opened.flush()
            || (age != 0
                && !opened.setFileTime(QDateTime::currentDateTime().addSecs(-age),
                                       QFileDevice::FileModificationTime)))
            qFatal("%s cannot be written", qPrintable(file));
    }
    // Holds dpkg's lock, as another package tool does, until the descriptor is closed.
    int lockDpkg() const
    {
        const QByteArray name
            = (root + QStringLiteral("/var/lib/dpkg/lock-frontend")).toLocal8Bit();
        const int fd = open(name.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0640);
        struct flock lock = {};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        return fcntl(fd, F_SETLK, &lock) == 0 ? fd : -1;
    }

private:
    QString runs() const { return root + QStringLiteral("/tmp/runs"); }
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
    // Also gives a second result the time to come. Prints for how long the job has blocked the
    // event loop.
    QString outcome()
    {
        const QByteArray job = m_job->metaObject()->className();
        const Pulse pulse;
        m_job->start();
        const QString result = end();
        qInfo("%s: longest gap %lld ms", job.constData(), pulse.longestGap());
        return pulse.longestGap() < Pulse::tooLong ? result
                                                   : QStringLiteral("blocked the event loop");
    }
    QString end()
    {
        if (!wait(120000))
            return QStringLiteral("no result");
        QEventLoop more;
        QTimer::singleShot(50, &more, &QEventLoop::quit);
        more.exec();
        return results == 1 ? name : QStringLiteral("%1 results").arg(results);
    }
    int percent() const { return m_percent; }

    int results = 0;
    QString name, text, details;
    QStringList phases, waits, packages;
    bool grows = true; // the percentage never decreased

Q_SIGNALS:
    void noted();

private:
    // Until there is a result. The waits of QtTest sleep between two passes of the event loop,
    // which would be taken for gaps of the job's.
    bool wait(int milliseconds)
    {
        QEventLoop loop;
        connect(this, &JobWatch::noted, &loop, &QEventLoop::quit);
        QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
        if (results == 0)
            loop.exec();
        return results > 0;
    }
    void note(KJob* ended)
    {
        ++results;
        auto* job = static_cast<Pakmart::Job*>(ended);
        name = Pakmart::Error::name(job->errorCode());
        text = job->errorString();
        details = job->details();
        emit noted();
    }

    Pakmart::Job* m_job;
    int m_percent = 0;
};
