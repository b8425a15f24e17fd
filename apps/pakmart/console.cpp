// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "console.h"

#include "layout.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QSocketNotifier>
#include <QStandardPaths>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>
#include <vantrelagent/request/capi.h>
#include <vector>

namespace
{

// Makes a new log in the user's cache folder; returns an empty name on failure.
QString OpenLog()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation)
        + QStringLiteral("/pakmart");
    const QString name = folder + QStringLiteral("/last.log");
    if (!QDir().mkpath(folder))
        return QString();
    const int fd = open(QFile::encodeName(name).constData(),
                        O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0)
        return QString();
    dup2(fd, STDOUT_FILENO);
    close(fd);
    return name;
}

// A terminal that does not report its width is taken for one of 80 columns.
int TerminalWidth(int fd)
{
    winsize size;
    return ioctl(fd, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

// Whether the terminal can overwrite a line.
bool CanRedraw()
{
    const QByteArray kind = qgetenv("TERM");
    return !kind.isEmpty() && kind != "dumb";
}

// Text from the server or from a package without control characters, so that it is safe on
// a terminal.
QString Printable(QString text)
{
    std::replace_if(
        text.begin(), text.end(),
        [](QChar c) { return c.category() == QChar::Other_Control && c != QLatin1Char('\n'); },
        QLatin1Char('?'));
    return text;
}

} // namespace

// Keeps a copy of standard output, and redirects the original to the log: child processes and
// the library write there without knowing of it.
Console::Console(bool verbose) : m_out(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3))
{
    m_terminal = isatty(m_out) != 0;
    m_bars = m_terminal && CanRedraw();
    if (verbose)
        return;
    m_logFile = OpenLog();
    if (m_logFile.isEmpty()) {
        const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(null, STDOUT_FILENO);
        close(null);
    }
}

Console::~Console()
{
    clearBar();
    std::fflush(stdout);
    dup2(m_out, STDOUT_FILENO);
    close(m_out);
}

void Console::write(const QByteArray& bytes)
{
    for (int done = 0; done < bytes.size();) {
        const ssize_t count
            = ::write(m_out, bytes.constData() + done, std::size_t(bytes.size() - done));
        if (count < 0 && errno == EAGAIN) {
            pollfd output{ m_out, POLLOUT, 0 };
            poll(&output, 1, -1);
        } else if (count < 0 && errno != EINTR) {
            return;
        }
        done += count > 0 ? int(count) : 0;
    }
}

int Console::width() const
{
    bool isNumber = false;
    const int columns = qEnvironmentVariableIntValue("COLUMNS", &isNumber);
    if (isNumber && columns > 0)
        return std::max(columns, 20);
    return m_terminal ? TerminalWidth(m_out) : 0;
}

void Console::sayJson(const QJsonArray& array)
{
    clearBar();
    write(QJsonDocument(array).toJson(QJsonDocument::Compact) + '\n');
}

void Console::sayJson(const QJsonObject& object)
{
    clearBar();
    write(QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n');
}

void Console::say(const QString& lines)
{
    clearBar();
    write(Printable(lines).toUtf8() + '\n');
}

void Console::sayText(const QString& text)
{
    say(Wrapped(Printable(text), width(), 0));
}

void Console::complain(const QString& text)
{
    clearBar();
    std::fprintf(stderr, "pakmart: %s\n", qUtf8Printable(Printable(text).trimmed()));
}

void Console::activity(const QString& what)
{
    const QString printable = Printable(what);
    if (printable == m_activity)
        return;
    m_activity = printable;
    if (m_bars)
        drawBar();
    else
        sayText(printable);
}

void Console::progress(int itemPercent, int overallPercent)
{
    itemPercent = qBound(0, itemPercent, 100);
    // The overall progress never decreases.
    overallPercent = qBound(m_overall, overallPercent, 100);
    const bool moved = itemPercent != m_item || overallPercent != m_overall;
    const bool milestone = overallPercent / 10 != m_overall / 10;
    m_item = itemPercent;
    m_overall = overallPercent;
    if (m_bars && moved)
        drawBar();
    else if (!m_bars && milestone)
        write(QStringLiteral("  %1% of all, %2% of this\n").arg(m_overall).arg(m_item).toUtf8());
}

// The last column stays free: after a character there, some terminals wrap to the next
// line, and the bar could not be erased.
void Console::drawBar()
{
    constexpr int narrow = 40; // with fewer columns the bar has no cells
    const int width = TerminalWidth(m_out);
    const int cells = width < narrow ? 0 : qBound(10, width / 3, 30);
    const int full = cells * m_overall / 100;
    const QString bar = QLatin1Char('[') + QString(full, QLatin1Char('#'))
        + QString(cells - full, QLatin1Char('.')) + QLatin1Char(']');
    const QString numbers = QStringLiteral(" %1%  this %2%  ").arg(m_overall, 3).arg(m_item, 3);
    const QString line = (cells == 0 ? QString() : bar) + numbers + m_activity.simplified();
    write("\r\x1b[K" + Fitted(line, std::max(1, width - 1)).toUtf8());
    m_barDrawn = true;
}

void Console::clearBar()
{
    if (m_barDrawn)
        write("\r\x1b[K");
    m_barDrawn = false;
}

bool Console::ask(const QString& question)
{
    clearBar();
    write(Printable(question).toUtf8() + " [y/N] ");
    QByteArray answer;
    char c = 0;
    while (!Interrupt::received()) {
        pollfd input{ STDIN_FILENO, POLLIN, 0 };
        // A signal interrupts the wait, so Ctrl-C counts as an answer.
        if (poll(&input, 1, -1) <= 0)
            continue;
        const ssize_t count = read(STDIN_FILENO, &c, 1);
        if (count < 0 && errno == EINTR)
            continue;
        if (count != 1 || c == '\n')
            break;
        answer += c;
    }
    if (!m_terminal || c != '\n')
        write("\n");
    answer = answer.trimmed().toLower();
    return !Interrupt::received() && (answer == "y" || answer == "yes");
}

namespace
{

volatile std::sig_atomic_t g_received = 0;

int g_pipe[2]; // from the signal handler to the event loop

std::vector<std::function<void()>> g_handlers;

void OnSignal(int)
{
    const int saved = errno;
    g_received = 1;
    const char byte = 0;
    if (write(g_pipe[1], &byte, 1) < 0)
        errno = saved;
    errno = saved;
}

void OnInterruption()
{
    char bytes[16];
    while (read(g_pipe[0], bytes, sizeof bytes) > 0) { }
    // A copy: a handler may end the work that owns it or another one.
    const auto handlers = g_handlers;
    for (auto handler = handlers.rbegin(); handler != handlers.rend(); ++handler)
        (*handler)();
    CAPI::AbortTransfers();
}

} // namespace

namespace Interrupt
{

void install()
{
    if (pipe2(g_pipe, O_CLOEXEC | O_NONBLOCK) == 0) {
        auto* notifier = new QSocketNotifier(g_pipe[0], QSocketNotifier::Read, qApp);
        QObject::connect(notifier, &QSocketNotifier::activated, qApp, OnInterruption);
    }
    struct sigaction action = {};
    action.sa_handler = OnSignal;
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool received()
{
    return g_received != 0;
}

Handler::Handler(std::function<void()> handler)
{
    g_handlers.push_back(std::move(handler));
}

Handler::~Handler()
{
    g_handlers.pop_back();
}

} // namespace Interrupt
