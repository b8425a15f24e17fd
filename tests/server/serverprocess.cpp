// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "server/serverprocess.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHostAddress>
#include <QRegularExpression>
#include <QTcpSocket>
#include <csignal>

namespace
{

const int patience = 60000; // ms; only a hang takes longer

} // namespace

QByteArray HttpReply::header(const QByteArray& name) const
{
    for (const QByteArray& line : head.split('\n')) {
        if (line.toLower().startsWith(name.toLower() + ':'))
            return line.mid(name.size() + 1).trimmed();
    }
    return {};
}

ServerProcess::ServerProcess(const QString& store, const QStringList& options)
{
    m_process.start(QStringLiteral(STORESERVER),
                    options + QStringList{ QStringLiteral("--port"), QStringLiteral("0"), store });
    while (!m_process.canReadLine() && m_process.waitForReadyRead(patience)) { }
    m_firstLine = m_process.readLine();
    const QRegularExpression line(QStringLiteral(":(\\d+)/\n$"));
    m_port = quint16(line.match(QString::fromLatin1(m_firstLine)).captured(1).toUInt());
    if (m_port == 0)
        qWarning("the server did not start: %s", standardError().constData());
}

ServerProcess::~ServerProcess()
{
    end(SIGKILL);
}

QString ServerProcess::url() const
{
    return QStringLiteral("http://127.0.0.1:%1").arg(m_port);
}

int ServerProcess::end(int signal)
{
    if (m_process.state() != QProcess::Running)
        return -1;
    ::kill(pid_t(m_process.processId()), signal);
    if (!m_process.waitForFinished(patience) || m_process.exitStatus() != QProcess::NormalExit)
        return -1;
    return m_process.exitCode();
}

std::unique_ptr<QTcpSocket> ServerProcess::send(const QByteArray& request) const
{
    auto socket = std::make_unique<QTcpSocket>();
    socket->connectToHost(QHostAddress(QHostAddress::LocalHost), m_port);
    socket->waitForConnected(patience);
    socket->write(request);
    while (socket->bytesToWrite() > 0 && socket->waitForBytesWritten(patience)) { }
    return socket;
}

HttpReply ServerProcess::receive(QTcpSocket& socket)
{
    QByteArray all;
    do {
        all += socket.readAll();
    } while (socket.waitForReadyRead(patience));
    all += socket.readAll();
    const int end = all.indexOf("\r\n\r\n");
    if (end < 0)
        return {};
    return { all.mid(9, 3).toInt(), all.left(end), all.mid(end + 4) };
}

QByteArray ServerProcess::getRequest(const QByteArray& target, const QList<QByteArray>& headers)
{
    QByteArray request = "GET " + target + " HTTP/1.1\r\n";
    for (const QByteArray& header : headers)
        request += header + "\r\n";
    return request + "\r\n";
}

HttpReply ServerProcess::ask(const QByteArray& request) const
{
    return receive(*send(request));
}

HttpReply ServerProcess::get(const QByteArray& target, const QList<QByteArray>& headers) const
{
    return ask(getRequest(target, headers));
}

ServerProcess::Result ServerProcess::runProgram(const QString& program,
                                                const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    Result result;
    if (process.waitForFinished(patience) && process.exitStatus() == QProcess::NormalExit)
        result.status = process.exitCode();
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

ServerProcess::Result ServerProcess::run(const QStringList& arguments)
{
    return runProgram(QStringLiteral(STORESERVER), arguments);
}

ServerProcess::Result ServerProcess::runMakeStore(const QStringList& arguments)
{
    return runProgram(QStringLiteral(MAKE_STORE), arguments);
}

QString ServerProcess::makeDemoStore(const QString& folder)
{
    const QString store = folder + QLatin1String("/store");
    const Result result = runMakeStore({ store });
    if (result.status != 0)
        qWarning("make-store: %s", result.err.constData());
    return result.status == 0 ? store : QString();
}

bool WriteTextFile(const QString& path, const QByteArray& text)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
}
