// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The real store server as a child process, and a plain HTTP client for it.
//
//     ServerProcess server(ServerProcess::makeDemoStore(folder));
//     QVERIFY(server.isRunning());
//     const HttpReply reply = server.get("/getagentapi.php");

#pragma once

#include <QByteArray>
#include <QList>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <memory>

class QTcpSocket;

struct HttpReply {
    int status = 0; // 0: the connection ended without a reply
    QByteArray head;
    QByteArray body;

    // The value of a header; empty for a missing one.
    QByteArray header(const QByteArray& name) const;
};

class ServerProcess
{
public:
    // Starts the server for the store on a free port; `options` come first.
    explicit ServerProcess(const QString& store, const QStringList& options = {});
    ~ServerProcess(); // ends it

    bool isRunning() const { return m_port != 0; }
    quint16 port() const { return m_port; }
    qint64 pid() const { return m_process.processId(); }
    QString url() const; // http://127.0.0.1:PORT
    QByteArray firstLine() const { return m_firstLine; }

    // Sends a signal and waits for the end. Returns the exit status, or -1 if the server
    // crashed or did not end.
    int end(int signal);
    QByteArray standardError() { return m_process.readAllStandardError(); }

    // Sends the bytes unchanged, and reads until the server closes the connection.
    HttpReply ask(const QByteArray& request) const;
    HttpReply get(const QByteArray& target, const QList<QByteArray>& headers = {}) const;

    // The same in two steps, for several requests at once.
    std::unique_ptr<QTcpSocket> send(const QByteArray& request) const;
    static HttpReply receive(QTcpSocket& socket);
    static QByteArray getRequest(const QByteArray& target, const QList<QByteArray>& headers = {});

    // Runs the server to its end with these arguments.
    struct Result {
        int status = -1;
        QByteArray out;
        QByteArray err;
    };
    static Result run(const QStringList& arguments);

    // Runs demo/make-store with these arguments.
    static Result runMakeStore(const QStringList& arguments);
    // Makes the demo store in `folder`/store. Returns its path; empty on failure.
    static QString makeDemoStore(const QString& folder);

private:
    static Result runProgram(const QString& program, const QStringList& arguments);

    QProcess m_process;
    QByteArray m_firstLine;
    quint16 m_port = 0;
};

// Writes a file, and makes its folders.
bool WriteTextFile(const QString& path, const QByteArray& text);
