// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "console.h"

#include "base/text.h"
#include "layout.h"
#include "pager.h"

#include <KLocalizedString>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
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

// The lines that the terminal shows at once.
int TerminalHeight(int fd)
{
    winsize size;
    return ioctl(fd, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 ? size.ws_row : 24;
}

// Whether there are colours, by https://no-color.org and the kind of the terminal.
bool HasColors(const QString& wanted, bool canRedraw)
{
    if (wanted == QLatin1String("always") || wanted == QLatin1String("never"))
        return wanted == QLatin1String("always");
    return canRedraw && qgetenv("NO_COLOR").isEmpty();
}

// Each line by itself, as pagers and narrow terminals need it.
QString Painted(QString lines, Color color)
{
    static const char* const codes[] = { "", "1", "32", "33", "1;31" };
    const QString begin
        = QStringLiteral("\x1b[%1m").arg(QLatin1String(codes[static_cast<int>(color)]));
    const QString end = QStringLiteral("\x1b[0m");
    lines.replace(QLatin1Char('\n'), end + QLatin1Char('\n') + begin);
    return begin + lines + end;
}

bool IsUnprintable(QChar c)
{
    return Agent::IsUnprintable(c.unicode());
}

// In the user's language, or in English as scripts answer.
bool IsYes(const QString& answer)
{
    const QString words = i18nc("the answers that mean yes, in small letters", "y yes");
    return answer == QLatin1String("y") || answer == QLatin1String("yes")
        || words.split(QLatin1Char(' '), Qt::SkipEmptyParts).contains(answer);
}

// JSON can name any character by its number.
QByteArray EscapedJson(const QByteArray& json)
{
    QString text;
    for (const QChar c : QString::fromUtf8(json)) {
        if (IsUnprintable(c))
            text += QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
        else
            text += c;
    }
    return text.toUtf8() + '\n';
}

} // namespace

QString Printable(QString text)
{
    std::replace_if(
        text.begin(), text.end(),
        [](QChar c) { return IsUnprintable(c) && c != QLatin1Char('\n'); }, QLatin1Char('?'));
    return text;
}

// Keeps a copy of standard output, and redirects the original to the log: child processes and
// the library write there without knowing of it.
Console::Console(const Style& style)
    : m_style(style), m_out(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3))
{
    m_terminal = isatty(m_out) != 0;
    m_bars = m_terminal && CanRedraw();
    m_colors = HasColors(style.color, m_bars);
    m_collects = style.pages && m_terminal && !style.json && !Pager::Command().isEmpty();
    m_logFile = OpenLog();
    if (m_logFile.isEmpty()) {
        const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(null, STDOUT_FILENO);
        close(null);
    }
}

Console::~Console()
{
    ClearBar();
    EndPage();
    m_pager.reset();
    std::fflush(stdout);
    dup2(m_out, STDOUT_FILENO);
    close(m_out);
}

QString Console::LogFile() const
{
    std::fflush(stdout);
    return QFileInfo(m_logFile).size() > 0 ? m_logFile : QString();
}

void Console::Write(const QByteArray& bytes)
{
    const int out = m_pager ? m_pager->Input() : m_out;
    for (int done = 0; done < bytes.size() && m_written && !m_leftEarly;) {
        const ssize_t count
            = ::write(out, bytes.constData() + done, std::size_t(bytes.size() - done));
        if (count < 0 && errno == EPIPE && m_pager) {
            m_leftEarly = true;
        } else if (count < 0 && errno == EAGAIN) {
            pollfd output{ out, POLLOUT, 0 };
            poll(&output, 1, -1);
        } else if (count < 0 && errno != EINTR) {
            m_written = false;
            Complain(i18n("the output cannot be written: %1", qt_error_string()));
        }
        done += count > 0 ? int(count) : 0;
    }
}

// A list that fits is written when it is complete; one that does not is the pager's.
void Console::WriteLines(const QByteArray& lines)
{
    if (!m_collects)
        return Write(lines);
    m_page += lines;
    if (m_page.count('\n') >= TerminalHeight(m_out))
        BeginPage();
}

void Console::BeginPage()
{
    m_pager = std::make_unique<Pager>();
    if (!m_pager->Start(m_out))
        m_pager.reset();
    EndPage();
}

void Console::EndPage()
{
    m_collects = false;
    Write(std::exchange(m_page, QByteArray()));
}

int Console::Width() const
{
    bool isNumber = false;
    const int columns = qEnvironmentVariableIntValue("COLUMNS", &isNumber);
    if (isNumber && columns > 0)
        return std::max(columns, 20);
    return m_terminal ? TerminalWidth(m_out) : 0;
}

void Console::WriteJson(const QJsonDocument& document)
{
    if (!m_style.json)
        return;
    m_hasResult = true;
    Write(EscapedJson(document.toJson(QJsonDocument::Compact)));
}

void Console::SayJson(const QJsonArray& array)
{
    WriteJson(QJsonDocument(array));
}

void Console::SayJson(const QJsonObject& object)
{
    WriteJson(QJsonDocument(object));
}

void Console::FinishJson(bool failed)
{
    if (failed && !m_hasResult)
        SayJson(m_error);
}

void Console::Say(const QString& lines, Color color)
{
    if (m_style.json)
        return;
    ClearBar();
    const QString text = Printable(lines);
    WriteLines((m_colors && color != Color::None ? Painted(text, color) : text).toUtf8() + '\n');
}

void Console::SayText(const QString& text, Color color)
{
    Say(Wrapped(Printable(text), Width(), 0), color);
}

void Console::Complain(const QString& text)
{
    ClearBar();
    EndPage(); // what was said before comes before
    QString lines = Printable(text).trimmed();
    lines.replace(QLatin1Char('\n'), QLatin1String("\n  "));
    std::fprintf(stderr, "pakmart: %s\n", qUtf8Printable(lines));
    if (m_error.isEmpty())
        m_error = { { QStringLiteral("code"), QStringLiteral("other") },
                    { QStringLiteral("sentence"), lines },
                    { QStringLiteral("details"), QString() } };
}

void Console::Fail(const QString& code, const QString& sentence, const QString& details)
{
    constexpr int most = 12; // lines that help; more are a log
    if (m_error.isEmpty())
        m_error = { { QStringLiteral("code"), code },
                    { QStringLiteral("sentence"), sentence },
                    { QStringLiteral("details"), details } };
    const QString lines = details.trimmed();
    const bool isShort = !lines.isEmpty() && lines.count(QLatin1Char('\n')) < most;
    Complain(isShort ? sentence + QLatin1Char('\n') + lines : sentence);
    if (!isShort)
        Note(lines);
}

void Console::Note(const QString& lines)
{
    if (lines.isEmpty())
        return;
    const QByteArray printable = Printable(lines).toUtf8() + '\n';
    std::fputs(printable.constData(), stdout);
    if (m_style.verbose)
        Say(lines);
}

void Console::Activity(const QString& what)
{
    const QString printable = Printable(what).simplified();
    if (printable == m_activity || m_style.json)
        return;
    m_activity = printable;
    m_amount.clear();
    if (m_bars)
        DrawBar();
    else
        SayText(printable);
}

void Console::BeginProgress()
{
    m_percent = 0;
    m_amount.clear();
}

// The progress never decreases.
void Console::Progress(int percent, const QString& amount)
{
    percent = qBound(m_percent, percent, 100);
    const bool moved = percent != m_percent || amount != m_amount;
    const bool milestone = percent / 10 != m_percent / 10;
    m_percent = percent;
    m_amount = amount;
    if (m_style.json)
        return;
    if (m_bars && moved)
        DrawBar();
    else if (!m_bars && milestone)
        Write(QStringLiteral("  %1%\n").arg(m_percent).toUtf8());
}

// The last column stays free: after a character there, some terminals wrap to the next
// line, and the bar could not be erased.
void Console::DrawBar()
{
    constexpr int narrow = 40; // with fewer columns the bar has no cells
    const int width = TerminalWidth(m_out);
    const int cells = width < narrow ? 0 : qBound(10, width / 3, 30);
    const int full = cells * m_percent / 100;
    const QString bar = QLatin1Char('[') + QString(full, QLatin1Char('#'))
        + QString(cells - full, QLatin1Char('.')) + QLatin1Char(']');
    const QString numbers = QStringLiteral(" %1%  ").arg(m_percent, 3);
    const QString amount = m_amount.isEmpty() ? QString() : QLatin1String("  ") + m_amount;
    const QString line = (cells == 0 ? QString() : bar) + numbers + m_activity + amount;
    Write("\r\x1b[K" + Fitted(line, std::max(1, width - 1)).toUtf8());
    m_barDrawn = true;
}

void Console::ClearBar()
{
    if (m_barDrawn)
        Write("\r\x1b[K");
    m_barDrawn = false;
}

bool Console::Ask(const QString& question)
{
    ClearBar();
    const QString letters = i18nc("how a question can be answered; no is the default", "[y/N]");
    Write(Printable(question + QLatin1Char(' ') + letters).toUtf8() + ' ');
    QByteArray answer;
    char c = 0;
    while (!Interrupt::Received()) {
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
        Write("\n");
    return !Interrupt::Received() && IsYes(QString::fromUtf8(answer).trimmed().toLower());
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

void Install()
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

bool Received()
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
