// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Certificates that are made for the test, as files: an authority of its own, a server's
// certificate for 127.0.0.1 that it has signed, and one that the server has signed itself.
// Machines can be made to trust the authority, by a folder in the place of /etc/ssl/certs.

#pragma once

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStringList>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

class Certificates
{
public:
    // `folder` is made; the files are in it.
    explicit Certificates(const QString& folder) : m_folder(folder)
    {
        QDir().mkpath(folder + QStringLiteral("/trusted"));
        const QString key = QStringLiteral("-newkey rsa:2048 -nodes -days 2 ");
        const QString names = QStringLiteral(" -addext subjectAltName=IP:127.0.0.1 -addext "
                                             "basicConstraints=CA:FALSE");
        openssl(QStringLiteral("req -x509 ") + key
                + QStringLiteral("-subj /CN=authority -keyout ca.key -out trusted/ca.pem"));
        openssl(QStringLiteral("req ") + key
                + QStringLiteral("-subj /CN=server -keyout server.key -out server.csr") + names);
        openssl(QStringLiteral("x509 -req -in server.csr -copy_extensions copy -days 2 -CA "
                               "trusted/ca.pem -CAkey ca.key -CAcreateserial -out server.pem"));
        openssl(QStringLiteral("req -x509 ") + key
                + QStringLiteral("-subj /CN=nobody -keyout self.key -out self.pem") + names);
        openssl(QStringLiteral("rehash trusted"));
        QFile::copy(folder + QStringLiteral("/trusted/ca.pem"),
                    folder + QStringLiteral("/trusted/ca-certificates.crt"));
    }

    // Options of a store server.
    QStringList trusted() const { return options(QStringLiteral("server")); }
    QStringList selfSigned() const { return options(QStringLiteral("self")); }

    // This process, and those that it starts from now on, trust the authority alone. False if
    // the system does not let it. To be called while the process has one thread.
    bool becomeTrusted() const
    {
        const uid_t user = getuid();
        if (unshare(CLONE_NEWNS | (user == 0 ? 0 : CLONE_NEWUSER)) != 0)
            return false;
        if (user != 0 && !mapUser(user))
            return false;
        const QByteArray from = QFile::encodeName(m_folder + QStringLiteral("/trusted"));
        return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0
            && mount(from.constData(), "/etc/ssl/certs", nullptr, MS_BIND, nullptr) == 0;
    }

private:
    QStringList options(const QString& name) const
    {
        return { QStringLiteral("--certificate"),
                 m_folder + QLatin1Char('/') + name + QStringLiteral(".pem"),
                 QStringLiteral("--key"),
                 m_folder + QLatin1Char('/') + name + QStringLiteral(".key") };
    }
    static bool mapUser(uid_t user)
    {
        const QByteArray id = QByteArray::number(user);
        QFile map(QStringLiteral("/proc/self/uid_map"));
        return map.open(QIODevice::WriteOnly | QIODevice::Unbuffered)
            && map.write(id + ' ' + id + " 1") > 0;
    }
    void openssl(const QString& words) const
    {
        QProcess process;
        process.setWorkingDirectory(m_folder);
        process.start(QStringLiteral("openssl"), words.split(QLatin1Char(' '), Qt::SkipEmptyParts));
        if (!process.waitForFinished(60000) || process.exitCode() != 0)
            qFatal("openssl: %s", process.readAllStandardError().constData());
    }

    const QString m_folder;
};
