// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// An OpenPGP key that is made for the test, as files: the secret one for the server, and the
// public one for the machine.
//
//     const SigningKey key(dir);
//     ServerProcess server(store, { "--sign", key.secretFile() });

#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <QThread>
#include <cstdlib>

class SigningKey
{
public:
    // `folder` is made; the files are in it.
    explicit SigningKey(const QString& folder, const QString& algorithm = QStringLiteral("ed25519"),
                        const QString& expiry = QStringLiteral("never"),
                        const QString& passphrase = QString())
        : m_folder(folder)
    {
        QDir().mkpath(folder);
        gpg({ QStringLiteral("--passphrase"), passphrase, QStringLiteral("--quick-generate-key"),
              QStringLiteral("Test store <store@t.example>"), algorithm, QStringLiteral("sign"),
              expiry });
        save(secretFile(),
             gpg({ QStringLiteral("--passphrase"), passphrase, QStringLiteral("--armor"),
                   QStringLiteral("--export-secret-keys") }));
        save(publicFile(), gpg({ QStringLiteral("--export") }));
    }
    ~SigningKey()
    {
        QProcess::execute(QStringLiteral("gpgconf"),
                          { QStringLiteral("--homedir"), m_home.path(), QStringLiteral("--kill"),
                            QStringLiteral("gpg-agent") });
        // The agent removes its sockets while it ends, and may be in the way.
        for (int tries = 0; tries < 200 && !m_home.remove(); ++tries)
            QThread::msleep(10);
    }
    SigningKey(const SigningKey&) = delete;
    SigningKey& operator=(const SigningKey&) = delete;

    QString secretFile() const { return m_folder + QStringLiteral("/store.key"); }
    QString publicFile() const { return m_folder + QStringLiteral("/store.gpg"); }

    // The text with a signature around it.
    QByteArray clearSigned(const QByteArray& text, const QStringList& options = {}) const
    {
        return gpg(options + QStringList{ QStringLiteral("--clearsign") }, text);
    }

    // The text that this key has signed; empty if it has not.
    QByteArray signedText(const QByteArray& text) const
    {
        QProcess process;
        process.start(QStringLiteral("gpg"),
                      { QStringLiteral("--homedir"), m_home.path(), QStringLiteral("--batch"),
                        QStringLiteral("--quiet"), QStringLiteral("--decrypt") });
        process.write(text);
        process.closeWriteChannel();
        return process.waitForFinished(60000) && process.exitCode() == 0
            ? process.readAllStandardOutput()
            : QByteArray();
    }

    // Revokes the key, also in its public file.
    void revoke() const
    {
        QByteArray certificate;
        const QDir folder(m_home.filePath(QStringLiteral("openpgp-revocs.d")));
        for (const QString& name : folder.entryList(QDir::Files)) {
            QFile file(folder.filePath(name));
            if (file.open(QIODevice::ReadOnly))
                certificate = file.readAll();
        }
        // gpg puts a colon there, so that nobody imports it by mistake.
        gpg({ QStringLiteral("--import") }, certificate.replace(":-----BEGIN", "-----BEGIN"));
        save(publicFile(), gpg({ QStringLiteral("--export") }));
    }

    // Runs gpg with this key, and returns its output.
    QByteArray gpg(const QStringList& words, const QByteArray& input = {}) const
    {
        QProcess process;
        process.start(QStringLiteral("gpg"),
                      QStringList{ QStringLiteral("--homedir"), m_home.path(),
                                   QStringLiteral("--batch"), QStringLiteral("--quiet"),
                                   QStringLiteral("--pinentry-mode"), QStringLiteral("loopback"),
                                   QStringLiteral("--yes") }
                          + (words.contains(QStringLiteral("--passphrase"))
                                 ? QStringList()
                                 : QStringList{ QStringLiteral("--passphrase"), QString() })
                          + words);
        process.write(input);
        process.closeWriteChannel();
        if (!process.waitForFinished(60000) || process.exitCode() != 0)
            qFatal("gpg %s: %s", qPrintable(words.join(QLatin1Char(' '))),
                   process.readAllStandardError().constData());
        return process.readAllStandardOutput();
    }

private:
    static void save(const QString& path, const QByteArray& bytes)
    {
        QFile file(path);
        if (bytes.isEmpty() || !file.open(QIODevice::WriteOnly)
            || file.write(bytes) != bytes.size())
            qFatal("cannot write %s", qPrintable(path));
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner
                            | (path.endsWith(QLatin1String(".gpg"))
                                   ? QFile::ReadGroup | QFile::ReadOther
                                   : QFile::Permissions()));
    }

    // The agent's socket needs a short path.
    QTemporaryDir m_home{ QStringLiteral("/tmp/pakmart-key.XXXXXX") };
    QString m_folder;
};
