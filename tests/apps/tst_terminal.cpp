// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// `pakmart` on a terminal: its bar, the width of its lines, its questions, and the state
// after Ctrl-C.

#include "apps/pakmart/console.h"
#include "apps/pakmart/layout.h"
#include "tests/apps/demomachine.h"
#include "tests/apps/stalledpool.h"
#include "tests/apps/terminal.h"
#include "tests/common/datafolder.h"
#include "tests/common/scriptedserver.h"

#include <QtTest>
#include <csignal>

namespace
{

const char* const longName = "骰子骰子 🎲🎲 a-package-with-a-name-that-does-not-end-before-the-line "
                             "Кости из слоновой кости 骰子骰子骰子骰子骰子骰子骰子骰子骰子骰子";

// A console of this process on a terminal of its own.
class OwnTerminal
{
public:
    explicit OwnTerminal(int columns)
    {
        winsize size{};
        size.ws_col = static_cast<unsigned short>(columns);
        if (openpty(&m_master, &m_slave, nullptr, nullptr, &size) != 0)
            qFatal("there is no terminal to be had");
        fcntl(m_master, F_SETFL, O_NONBLOCK);
        std::fflush(stdout);
        m_stdout = dup(STDOUT_FILENO);
        dup2(m_slave, STDOUT_FILENO);
        m_display = std::make_unique<Console>(Console::Style());
    }
    ~OwnTerminal()
    {
        end();
        close(m_slave);
        close(m_master);
    }
    OwnTerminal(const OwnTerminal&) = delete;
    OwnTerminal& operator=(const OwnTerminal&) = delete;

    Console& display() { return *m_display; }
    // Ends the console and restores the test's own output.
    void end()
    {
        if (!m_display)
            return;
        m_display.reset();
        dup2(m_stdout, STDOUT_FILENO);
        close(m_stdout);
    }
    void resize(int columns) const
    {
        winsize size{};
        size.ws_col = static_cast<unsigned short>(columns);
        ioctl(m_master, TIOCSWINSZ, &size);
    }
    // The current content of the screen.
    const Screen& screen()
    {
        char bytes[4096];
        for (ssize_t got; (got = read(m_master, bytes, sizeof bytes)) > 0;)
            m_screen.write(QByteArray(bytes, int(got)));
        return m_screen;
    }

private:
    int m_master = -1, m_slave = -1, m_stdout = -1;
    std::unique_ptr<Console> m_display;
    Screen m_screen;
};

QByteArray Catalog(int products)
{
    QByteArray xml = "<?xml version=\"1.0\"?>\n<agentfunction resultcode=\"OK\"><catalog>"
                     "<category name=\"Tools\">";
    for (int i = 1; i <= products; ++i) {
        const QByteArray number = QByteArray::number(i);
        xml += "<product name=\"p" + number + "\"><serialnumber>" + number
            + "</serialnumber><packagename>p" + number + "</packagename></product>";
    }
    return xml + "</category></catalog></agentfunction>";
}

} // namespace

class TerminalTest : public QObject
{
    Q_OBJECT

private:
    DemoMachine m_machine;
    QByteArray m_products;

    static void columnsData(std::initializer_list<int> widths)
    {
        QTest::addColumn<int>("columns");
        for (const int columns : widths)
            QTest::addRow("%d", columns) << columns;
    }
    static int limit(int columns) { return columns == 0 ? 80 : columns; }

    // Makes a server send the catalog in two pieces, the second one after a while, or
    // never.
    static void serveSlowly(ScriptedServer& server, int milliseconds, int products = 3000)
    {
        server.answer("/getagentapi.php",
                      ScriptedServer::http(
                          "<?xml version=\"1.0\"?>\n<agentfunction resultcode=\"OK\"><getagentapi>"
                          "<api><name>CAPIUpdateCatalog</name><url>"
                          + server.url("/c") + "</url></api></getagentapi></agentfunction>"));
        server.answer("/c", [milliseconds, products](QTcpSocket* socket, const QByteArray&) {
            const QByteArray reply = ScriptedServer::http(Catalog(products));
            const int half = reply.size() / 2;
            socket->write(reply.left(half));
            if (milliseconds > 0)
                QTimer::singleShot(milliseconds, socket, [=] { socket->write(reply.mid(half)); });
        });
    }

private slots:
    void initTestCase()
    {
        qunsetenv("COLUMNS");
        qputenv("TERM", "xterm");
        QVERIFY(m_machine.setUp());
        QFile products(m_machine.store() + QStringLiteral("/products"));
        QVERIFY(products.open(QIODevice::ReadOnly));
        m_products = products.readAll();
    }
    void init()
    {
        QVERIFY(m_machine.useServer(m_machine.url()));
        QVERIFY(WriteTextFile(m_machine.store() + QStringLiteral("/products"), m_products));
    }

    // -- the bar

    void barFitsEveryWidth_data() { columnsData({ 1, 10, 20, 39, 40, 41, 80, 200, 0 }); }
    void barFitsEveryWidth()
    {
        QFETCH(int, columns);
        OwnTerminal terminal(columns);
        for (const QString& activity :
             { QStringLiteral("Installing"), QString::fromUtf8(longName),
               QString::fromUtf8("骰子").repeated(100), QString::fromUtf8("🎲").repeated(101),
               QStringLiteral("two\nlines\tand a tab"), QString() }) {
            terminal.display().Activity(activity);
            for (int percent = 0; percent <= 100; percent += 7) {
                terminal.display().Progress(percent, QStringLiteral("1 of 2 kB"));
                terminal.screen(); // a terminal buffers little unread output
            }
        }
        const Screen& screen = terminal.screen();
        QVERIFY(screen.isSound());
        QVERIFY2(screen.widest() < std::max(2, limit(columns)),
                 qPrintable(QString::number(screen.widest())));
        QCOMPARE(screen.rows().size(), 1);
        terminal.end();
        QCOMPARE(terminal.screen().rows(), QStringList(QString()));
        QCOMPARE(terminal.screen().column(), 0);
    }

    void barShowsHowFarItIsAndWhatIsDone()
    {
        OwnTerminal terminal(80);
        terminal.display().Activity(QStringLiteral("Downloading libpixel"));
        terminal.display().Progress(50, QStringLiteral("1 of 2 kB"));
        QCOMPARE(
            terminal.screen().rows().last(),
            QStringLiteral("[#############.............]  50%  Downloading libpixel  1 of 2 kB"));
        // The progress never decreases, until that of another job begins.
        terminal.display().Progress(20);
        QVERIFY(terminal.screen().rows().last().contains(QStringLiteral(" 50%  Down")));
        terminal.display().BeginProgress();
        terminal.display().Progress(20);
        QVERIFY(terminal.screen().rows().last().contains(QStringLiteral(" 20%  Down")));
    }

    void barFollowsTheWidth()
    {
        OwnTerminal terminal(200);
        terminal.display().Activity(QString::fromUtf8(longName));
        QVERIFY(CellsOf(terminal.screen().rows().last()) > 100);
        terminal.resize(40);
        terminal.display().Progress(1);
        QVERIFY(CellsOf(terminal.screen().rows().last()) < 40);
        terminal.resize(80);
        terminal.display().Progress(2);
        QVERIFY(CellsOf(terminal.screen().rows().last()) > 60);
    }

    void linesAndQuestionsTakeTheBarAway()
    {
        OwnTerminal terminal(80);
        terminal.display().Activity(QStringLiteral("Installing"));
        terminal.display().Say(QStringLiteral("a line"));
        terminal.display().Progress(50);
        terminal.display().SayText(QStringLiteral("another"));
        QCOMPARE(terminal.screen().rows(),
                 (QStringList{ QStringLiteral("a line"), QStringLiteral("another"), QString() }));
    }

    void textIsBrokenToFit_data() { columnsData({ 20, 40, 80, 200 }); }
    void textIsBrokenToFit()
    {
        QFETCH(int, columns);
        OwnTerminal terminal(columns);
        QString text = QString::fromUtf8(longName) + QLatin1Char(' ')
            + QString::fromUtf8("骰🎲").repeated(120) + QString(500, QLatin1Char('x'));
        terminal.display().SayText(text + QLatin1Char('\n') + QLatin1Char(' ') + text);
        const Screen& screen = terminal.screen();
        QVERIFY(screen.isSound() && screen.widest() <= columns);
        QVERIFY(screen.widest() > columns - 3);
        // Nothing is lost.
        QString shown = screen.rows().join(QString());
        const auto letters = [](QString some) { return some.remove(QLatin1Char(' ')); };
        QCOMPARE(letters(shown), letters(text + text));
    }

    void addressStaysWhole()
    {
        const QString address
            = QStringLiteral("https://h.example/") + QString(90, QLatin1Char('p'));
        QCOMPARE(Wrapped(QStringLiteral("see ") + address + QStringLiteral(" for more"), 40, 2),
                 QStringLiteral("  see\n  ") + address + QStringLiteral("\n  for more"));
    }

    // -- the program

    void linesOfTheStoreFit_data() { columnsData({ 20, 40, 80, 200 }); }
    void linesOfTheStoreFit()
    {
        QFETCH(int, columns);
        const QByteArray name(longName), wide = QByteArray("骰子🎲").repeated(30);
        QByteArray products = m_products + '\n';
        for (int i = 1; i < 4; ++i)
            products += "Serial: " + QByteArray::number(i) + "\nName: " + (i == 1 ? name : wide)
                + "\nCategory: Tools " + wide.left(30) + "\nPackage: p" + QByteArray::number(i)
                + "\nDescription: " + name + "\n " + wide + "\n   " + wide + "\nVendor: " + wide
                + "\n\n";
        QVERIFY(WriteTextFile(m_machine.store() + QStringLiteral("/products"), products));
        for (const QList<QByteArray>& words : { QList<QByteArray>{ "update" },
                                                { "categories" },
                                                { "list", "Tools " + wide.left(30) },
                                                { "search", "骰子" },
                                                { "show", "1", "2", "1001" },
                                                { "aisles" },
                                                { "sync" },
                                                { "installed" },
                                                { "recent" },
                                                { "register" } }) {
            Terminal terminal(PAKMART, words + QList<QByteArray>{ "--no-pager" }, columns);
            QCOMPARE(terminal.end(), 0);
            QVERIFY2(terminal.screen().widest() <= columns,
                     words.join(' ') + ' ' + QByteArray::number(terminal.screen().widest()));
            QVERIFY(terminal.screen().rows().size() > 1 && terminal.isAsBefore());
        }
    }

    void widthsAreTheSameInTheCLocale()
    {
        const QByteArray before = qgetenv("LC_ALL");
        QVERIFY(WriteTextFile(m_machine.store() + QStringLiteral("/products"),
                              "Serial: 1\nName: " + QByteArray("骰子").repeated(30)
                                  + "\nCategory: Tools\nPackage: p\nDescription: x\n"));
        QCOMPARE(DemoMachine::pakmart({ QStringLiteral("update") }).status, 0);
        qputenv("LC_ALL", "C");
        Terminal terminal(PAKMART, { "list", "Tools" }, 40);
        const int status = terminal.end();
        qputenv("LC_ALL", before);
        QCOMPARE(status, 0);
        QVERIFY(terminal.screen().widest() <= 40 && terminal.screen().widest() > 36);
    }

    void installShowsItsBarAndAsks_data() { columnsData({ 20, 40, 80, 200, 0 }); }
    void installShowsItsBarAndAsks()
    {
        QFETCH(int, columns);
        Terminal terminal(PAKMART, { "install", "1001" }, columns);
        QVERIFY(terminal.awaits("Download and install? [y/N] "));
        QVERIFY(!m_machine.dpkgStatus().contains("starlander"));
        terminal.type("y\n");
        QCOMPARE(terminal.end(), 0);
        QVERIFY(
            m_machine.dpkgStatus().contains("Package: starlander\nStatus: install ok installed\n"));
        const Screen& screen = terminal.screen();
        QVERIFY(terminal.isAsBefore());
        QCOMPARE(screen.drawn().filter(QStringLiteral("100%  ")).isEmpty(), false);
        if (limit(columns) >= 40)
            QVERIFY(
                !screen.drawn().filter(QRegularExpression(QStringLiteral("^\\[#+\\]"))).isEmpty());
        // The text that stays on the screen contains no part of the bar, and fits. The
        // exception is the question, which is on the same line as its answer.
        QVERIFY(screen.rows().filter(QRegularExpression(QStringLiteral("\\d%  "))).isEmpty());
        for (const QString& row : screen.rows() + screen.drawn())
            QVERIFY2(CellsOf(row) <= limit(columns) || row.contains(QStringLiteral("[y/N]")),
                     qPrintable(row));
        QCOMPARE(DemoMachine::pakmart({ QStringLiteral("remove"), QStringLiteral("-y"),
                                        QStringLiteral("starlander"), QStringLiteral("libpixel") })
                     .status,
                 0);
    }

    void noAndTheEndOfTheInputAreANo_data()
    {
        QTest::addColumn<QByteArray>("typed");
        QTest::newRow("no") << QByteArray("no\n");
        QTest::newRow("Return") << QByteArray("\n");
        QTest::newRow("Ctrl-D") << QByteArray("\x04");
    }
    void noAndTheEndOfTheInputAreANo()
    {
        QFETCH(QByteArray, typed);
        Terminal terminal(PAKMART, { "install", "1001" }, 80);
        QVERIFY(terminal.awaits("[y/N] "));
        terminal.type(typed.constData());
        QCOMPARE(terminal.end(), 3);
        QVERIFY(terminal.isAsBefore());
        QCOMPARE(m_machine.leftInTree(), QStringList());
        QVERIFY(terminal.written().contains("Nothing was installed."));
    }

    void elsewhereTheLinesArePlain()
    {
        const DemoMachine::Result result = DemoMachine::pakmart(
            { QStringLiteral("install"), QStringLiteral("-y"), QStringLiteral("1003") });
        QCOMPARE(result.status, 0);
        QVERIFY(result.out.contains(QStringLiteral("  100%\n")));
        QVERIFY(!result.out.contains(QLatin1Char(0x1B)) && !result.out.contains(QLatin1Char('\r')));
    }

    void terminalWithoutACursorGetsPlainLines()
    {
        Terminal terminal(PAKMART, { "remove", "-y", "dicecards" }, 80, "dumb");
        QCOMPARE(terminal.end(), 0);
        Terminal update(PAKMART, { "update" }, 80, "dumb");
        QCOMPARE(update.end(), 0);
        QVERIFY(update.written().startsWith("Asking for the catalog\r\n"));
        QVERIFY(!update.written().contains("\x1B"));
    }

    void updateThatTakesLongShowsHowFarItIs()
    {
        ScriptedServer server;
        serveSlowly(server, 1300, 20000);
        QVERIFY(m_machine.useServer(QString::fromLatin1(server.url(""))));
        Terminal terminal(PAKMART, { "update" }, 80);
        QCOMPARE(terminal.end(), 0);
        const QStringList drawn = terminal.screen().drawn();
        QVERIFY(
            !drawn.filter(QRegularExpression(QStringLiteral("[1-9][0-9]*%  .*Asking"))).isEmpty());
        QVERIFY(
            !drawn.filter(QRegularExpression(QStringLiteral("[1-9][0-9]*%  .*Filling"))).isEmpty());
        QVERIFY(terminal.isAsBefore() && terminal.screen().widest() <= 80);
        QVERIFY(terminal.screen().rows().contains(
            QStringLiteral("The catalog has 20000 products in 1 category.")));
    }

    // -- Ctrl-C

    void interruptedQuestion()
    {
        for (const QList<QByteArray>& words :
             { QList<QByteArray>{ "install", "1001" }, { "remove", "dicecards" } }) {
            if (words[0] == "remove")
                QCOMPARE(DemoMachine::pakmart({ QStringLiteral("install"), QStringLiteral("-y"),
                                                QStringLiteral("1003") })
                             .status,
                         0);
            const QByteArray status = m_machine.dpkgStatus();
            Terminal terminal(PAKMART, words, 80);
            QVERIFY(terminal.awaits("[y/N] "));
            terminal.type(Terminal::ctrlC);
            QCOMPARE(terminal.end(), 130);
            QVERIFY(terminal.isAsBefore());
            QCOMPARE(terminal.screen().rows().value(terminal.screen().rows().size() - 2),
                     QStringLiteral("pakmart: interrupted"));
            QCOMPARE(m_machine.leftInTree(), QStringList());
            QCOMPARE(m_machine.dpkgStatus(), status);
        }
    }

    void interruptedDownloadOfAPackage()
    {
        StalledPool pool(m_machine.store());
        QVERIFY(m_machine.useServer(pool.url()));
        const QByteArray status = m_machine.dpkgStatus();
        Terminal terminal(PAKMART, { "install", "-y", "4003" }, 80);
        QVERIFY(terminal.awaits("Downloading"));
        QTRY_VERIFY_WITH_TIMEOUT(pool.isAsked(), 60000);
        terminal.type(Terminal::ctrlC);
        QCOMPARE(terminal.end(), 130);
        QVERIFY(terminal.isAsBefore());
        QVERIFY(terminal.screen()
                    .rows()
                    .filter(QRegularExpression(QStringLiteral("\\d%  ")))
                    .isEmpty());
        QCOMPARE(m_machine.leftInTree(), QStringList());
        QCOMPARE(m_machine.dpkgStatus(), status);
        // The next command works.
        QVERIFY(m_machine.useServer(m_machine.url()));
        Terminal again(PAKMART, { "install", "-y", "4003" }, 80);
        QCOMPARE(again.end(), 0);
        QVERIFY(m_machine.dpkgStatus().contains("Package: typingtutor\nStatus: install ok"));
    }

    void interruptedDownloadOfTheCatalog()
    {
        QCOMPARE(DemoMachine::pakmart({ QStringLiteral("update") }).status, 0);
        const QByteArray catalog = ReadDataFile(QStringLiteral(".catalog"));
        const QStringList files = DataFiles();
        ScriptedServer server;
        serveSlowly(server, 0);
        QVERIFY(m_machine.useServer(QString::fromLatin1(server.url(""))));
        Terminal terminal(PAKMART, { "update" }, 80);
        QVERIFY(terminal.awaits("Asking"));
        QTRY_VERIFY_WITH_TIMEOUT(server.asked.contains("/c"), 60000);
        QTest::qWait(200);
        terminal.type(Terminal::ctrlC);
        QCOMPARE(terminal.end(), 130);
        QVERIFY(terminal.isAsBefore());
        QCOMPARE(ReadDataFile(QStringLiteral(".catalog")), catalog);
        QCOMPARE(DataFiles(), files);
        QCOMPARE(m_machine.leftInTree(), QStringList());
    }
};

QTEST_GUILESS_MAIN(TerminalTest)
#include "tst_terminal.moc"
