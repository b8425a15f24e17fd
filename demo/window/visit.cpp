// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A visit to the store's window, by clicks and keys: looks around, searches, installs a product,
// brings one up to date, and removes what it has installed. With a directory, it keeps a
// picture of each page there, also in a dark window, a narrow one and one that is mirrored.
//
// Usage: visit [DIRECTORY]

#include "demo/window/contrast.h"
#include "tests/window/openwindow.h"

#include <KColorScheme>
#include <KSharedConfig>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QIcon>
#include <cstdio>
#include <cstdlib>

namespace
{

[[noreturn]] void Fail(const char* what)
{
    std::fprintf(stderr, "visit: %s\n", what);
    std::exit(1);
}

void Demand(bool isSo, const char* what)
{
    if (!isSo)
        Fail(what);
}

void Say(const char* what)
{
    std::printf("window: %s\n", what);
    std::fflush(stdout);
}

class Visit
{
public:
    // Pictures have this word in their names.
    explicit Visit(QString look) : m_look(std::move(look)) { }

    void Open(QSize size) { Demand(m_window.open(QStringLiteral("front"), size), "no window"); }

    // The catalog is not there yet, and is fetched.
    void Fetch()
    {
        m_window.key(Qt::Key_F5);
        Demand(QTest::qWaitFor([this] { return m_window.item(QStringLiteral("category-Games")); },
                               60000),
               "there are no categories");
        Say("the catalog is there, with its categories");
    }
    void Search(const char* words, const QString& row)
    {
        m_window.key(Qt::Key_F, Qt::ControlModifier);
        m_window.type(words);
        Demand(QTest::qWaitFor([&] { return m_window.item(row); }, 60000), "nothing was found");
    }
    // Does something with the product of a row, agrees to what the preview shows, and waits
    // until the row offers the next thing, or the list says that it is empty.
    void Change(const QString& button, const QString& row, const QString& next)
    {
        Demand(m_window.click(button, row), "the button is not there");
        Demand(QTest::qWaitFor([this] { return m_window.pageName() == QLatin1String("preview"); },
                               60000),
               "nothing was previewed");
        Demand(QTest::qWaitFor(
                   [this] { return !m_window.texts(QStringLiteral("planText")).isEmpty(); }, 60000),
               "the preview is empty");
        for (const QString& line : m_window.texts(QStringLiteral("planText")))
            Say(qPrintable(QStringLiteral("preview: ") + line));
        Keep("preview-" + button);
        Demand(m_window.click(QStringLiteral("agree")), "there is nothing to agree to");
        const bool isDone = QTest::qWaitFor([&] { return HasEnded(row, next); }, 120000);
        if (!isDone)
            Keep("unfinished-" + button);
        Demand(isDone, "the change has not come to its end");
    }
    // Starts a product from its row.
    void Start(const QString& row)
    {
        const QString open = QStringLiteral("open");
        Demand(m_window.click(open, row), "there is nothing to open");
        Demand(QTest::qWaitFor([&] { return m_window.item(open)->isEnabled(); }, 60000),
               "the program does not start");
        Demand(!m_window.item(QStringLiteral("openProblem")), "the program was not started");
        Keep(open);
    }
    void Look(const QString& address)
    {
        m_window.store().go(ReadAddress(address));
        Demand(QTest::qWaitFor([this] { return m_window.currentPage() != nullptr; }), "no page");
        QTest::qWait(300); // what is read beside has arrived
        Keep(QString(address).replace('/', '-'));
    }
    void LookAround()
    {
        for (const char* page :
             { "front", "category/Games", "product/1001", "search/er", "installed", "updates",
               "recent", "history", "account", "settings", "about" })
            Look(QString::fromLatin1(page));
    }
    void End() const
    {
        constexpr double least = 4.5; // what the guidelines ask for
        Say(qPrintable(QStringLiteral("%1: %2 texts, with a contrast of %3 and more")
                           .arg(m_look)
                           .arg(m_texts)
                           .arg(m_contrast.lowest, 0, 'f', 1)));
        Demand(m_texts > 0, "no text was measured");
        Demand(m_contrast.lowest >= least, qPrintable("hard to read: " + m_contrast.text));
        Demand(OpenWindow::warnings().isEmpty(), "the pages give warnings");
    }

private:
    bool HasEnded(const QString& row, const QString& next) const
    {
        if (m_window.pageName() == QLatin1String("preview"))
            return false;
        QQuickItem* const place = m_window.item(row, m_window.currentPage());
        return next.isEmpty() ? !m_window.texts(QStringLiteral("stateText")).isEmpty()
                              : place && m_window.item(next, place);
    }
    void Keep(const QString& name)
    {
        const QImage picture = m_window.picture(m_look + '-' + name);
        Demand(!picture.isNull(), "nothing was drawn");
        const Contrast contrast = MeasureContrast(m_window.window()->contentItem(), picture,
                                                  m_look == QLatin1String("contrast"));
        m_texts += contrast.texts;
        if (contrast.lowest < m_contrast.lowest)
            m_contrast = { contrast.lowest, contrast.text + QLatin1String(" on ") + name, 0 };
    }

    const QString m_look;
    Contrast m_contrast; // the lowest so far
    int m_texts = 0;
    OpenWindow m_window;
};

// As a desktop would: its style, its icons and its colours, which are a file.
void DressUp(const QString& scheme, const char* icons)
{
    qputenv("QT_QUICK_CONTROLS_STYLE", "org.kde.desktop");
    QApplication::setStyle(QStringLiteral("breeze"));
    QIcon::setThemeName(QString::fromLatin1(icons));
    qApp->setProperty("KDE_COLOR_SCHEME_PATH", scheme);
    Demand(QFile::exists(scheme), "there are no colours");
    QGuiApplication::setPalette(
        KColorScheme::createApplicationPalette(KSharedConfig::openConfig(scheme)));
}

void InstallAndRemove()
{
    Visit visit(QStringLiteral("light"));
    visit.Open(QSize(1000, 640));
    visit.Fetch();
    const QString lander = QStringLiteral("product-starlander");
    visit.Search("lander", lander);
    Say("a search for 'lander' has found Star Lander");
    visit.Change(QStringLiteral("install"), lander, QStringLiteral("remove"));
    Say("Star Lander is installed");
    visit.Start(lander);
    Say("Star Lander was opened");
    visit.LookAround();
    visit.Look(QStringLiteral("updates"));
    visit.Change(QStringLiteral("update"), QStringLiteral("product-dicecards"), QString());
    Say("Dice & Cards is up to date");
    visit.Search("lander", lander);
    visit.Change(QStringLiteral("remove"), lander, QStringLiteral("install"));
    Say("Star Lander is removed");
    visit.End();
}

// With the pages alone.
void LookAroundAs(const char* look, QSize size)
{
    Visit visit(QString::fromLatin1(look));
    visit.Open(size);
    visit.LookAround();
    visit.End();
}

} // namespace

int main(int argc, char* argv[])
{
    qputenv("QT_QUICK_BACKEND", "software");
    const QApplication app(argc, argv);
    if (argc > 1)
        qputenv("WINDOW_PICTURES",
                QDir(QString::fromLocal8Bit(argv[1])).absolutePath().toLocal8Bit());
    const QString colours = QStringLiteral("/usr/share/color-schemes/Breeze%1.colors");
    DressUp(colours.arg(QStringLiteral("Light")), "breeze");
    InstallAndRemove();
    LookAroundAs("narrow", QSize(360, 640));
    QGuiApplication::setLayoutDirection(Qt::RightToLeft);
    LookAroundAs("mirrored", QSize(1000, 640));
    QGuiApplication::setLayoutDirection(Qt::LeftToRight);
    DressUp(colours.arg(QStringLiteral("Dark")), "breeze-dark");
    LookAroundAs("dark", QSize(1000, 640));
    DressUp(QStringLiteral(HIGH_CONTRAST), "breeze-dark");
    LookAroundAs("contrast", QSize(1000, 640));
    return 0;
}
