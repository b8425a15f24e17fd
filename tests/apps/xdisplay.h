// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A display without a screen: shows its windows, and simulates mouse and keyboard.
//
// It is a real X server, so it shows what a user would see. There is no window manager: a
// window is at the position it chose, without a frame.

#pragma once

#include <QProcess>
#include <QRect>
#include <QStringList>

class XDisplay
{
public:
    // Starts it with a free number.
    XDisplay()
    {
        m_server.start(QStringLiteral("Xvfb"),
                       { QStringLiteral("-displayfd"), QStringLiteral("1"),
                         QStringLiteral("-screen"), QStringLiteral("0"),
                         QStringLiteral("1024x768x24"), QStringLiteral("-nolisten"),
                         QStringLiteral("tcp"), QStringLiteral("-noreset") });
        while (!m_server.canReadLine() && m_server.waitForReadyRead(60000)) { }
        m_name = ':' + m_server.readLine().trimmed();
    }
    ~XDisplay()
    {
        m_server.terminate();
        if (!m_server.waitForFinished(10000))
            m_server.kill();
        m_server.waitForFinished();
    }
    XDisplay(const XDisplay&) = delete;
    XDisplay& operator=(const XDisplay&) = delete;

    bool isRunning() const { return m_name.size() > 1; }
    // The value of DISPLAY for programs on this display.
    QByteArray name() const { return m_name; }

    // The id of the visible window with this title (a regular expression), or an empty
    // text.
    QString window(const char* title) const
    {
        return ask({ QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                     QStringLiteral("--name"), QLatin1String(title) })
            .section(QLatin1Char('\n'), 0, 0);
    }
    QRect place(const QString& window) const
    {
        const QStringList lines
            = ask({ QStringLiteral("getwindowgeometry"), QStringLiteral("--shell"), window })
                  .split(QLatin1Char('\n'));
        const auto number = [&lines](const char* key) {
            const QString line = lines.filter(QLatin1String(key)).value(0);
            return line.section(QLatin1Char('='), 1).toInt();
        };
        return { number("X="), number("Y="), number("WIDTH="), number("HEIGHT=") };
    }

    // Clicks at a place of the window.
    void click(const QString& window, int x, int y) const
    {
        ask({ QStringLiteral("mousemove"), QStringLiteral("--window"), window, QString::number(x),
              QString::number(y), QStringLiteral("click"), QStringLiteral("1") });
    }
    // Presses keys in the window: "ctrl+a", "Return".
    void press(const QString& window, const QStringList& keys) const
    {
        ask(QStringList{ QStringLiteral("windowfocus"), QStringLiteral("--sync"), window,
                         QStringLiteral("key"), QStringLiteral("--clearmodifiers") }
            + keys);
    }
    // The text that a program has put on the clipboard.
    QString clipboard() const
    {
        return run(
            QStringLiteral("xclip"),
            { QStringLiteral("-selection"), QStringLiteral("clipboard"), QStringLiteral("-out") });
    }

private:
    QString ask(const QStringList& words) const { return run(QStringLiteral("xdotool"), words); }
    QString run(const QString& program, const QStringList& words) const
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DISPLAY"), QString::fromLatin1(m_name));
        process.setProcessEnvironment(environment);
        process.start(program, words);
        process.waitForFinished(60000);
        return QString::fromUtf8(process.readAllStandardOutput());
    }

    QProcess m_server;
    QByteArray m_name;
};
