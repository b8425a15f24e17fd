// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// pakmart-store: the store in a window. One window for each user: a second start brings the first
// one to the front, and leads it to the page that was asked for.

#include "desktopprogress.h"
#include "notifier.h"
#include "preferences.h"
#include "storewindow.h"

#include <KDBusService>
#include <KLocalizedString>
#include <QApplication>
#include <QCommandLineParser>
#include <QIcon>
#include <QOpenGLContext>
#include <QQuickWindow>
#include <QUrl>
#include <cstdio>

namespace
{

void Describe(QCommandLineParser& parser)
{
    parser.setApplicationDescription(i18n("The software store"));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOption({ QStringLiteral("page"),
                       i18n("Open a page: front, installed, updates, recent, history, account, "
                            "settings or about."),
                       QStringLiteral("page") });
    parser.addOption({ QStringLiteral("background"),
                       i18n("Tell of updates by a notification, if that is switched on; sessions "
                            "start this.") });
    parser.addPositionalArgument(QStringLiteral("link"),
                                 i18n("A link to open, such as pakmart:product/1001."),
                                 QStringLiteral("[link]"));
}

QString WantedPage(const QCommandLineParser& parser)
{
    if (parser.isSet(QStringLiteral("background")))
        return QStringLiteral("updates"); // what a notification leads to
    const QStringList links = parser.positionalArguments();
    return links.isEmpty() ? parser.value(QStringLiteral("page")) : links.first();
}

// The style that fits Plasma, where the user has chosen none.
void ChooseStyle()
{
    if (qEnvironmentVariableIsEmpty("QT_QUICK_CONTROLS_STYLE")
        && qEnvironmentVariableIsSet("KDE_FULL_SESSION"))
        qputenv("QT_QUICK_CONTROLS_STYLE", "org.kde.desktop");
}

// Help needs no display.
bool HasHelped(int argc, char* argv[])
{
    const QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    Describe(parser);
    parser.parse(QCoreApplication::arguments());
    const bool wants
        = parser.isSet(QStringLiteral("help")) || parser.isSet(QStringLiteral("version"));
    if (wants)
        parser.process(app); // does not return
    return wants;
}

// Qt would end the process where nothing can be drawn by OpenGL, as in some virtual machines.
void ChooseRenderer()
{
    if (!QOpenGLContext().create())
        QQuickWindow::setSceneGraphBackend(QStringLiteral("software"));
}

void GoTo(StoreWindow& store, const QString& page)
{
    store.go(ReadAddress(page));
    store.raise();
}

// A second start, a link and an action of the desktop's menu lead the first window on.
void Follow(StoreWindow& store, const KDBusService& service)
{
    QObject::connect(&service, &KDBusService::activateRequested, &store,
                     [&store](const QStringList& arguments) {
                         QCommandLineParser parser;
                         Describe(parser);
                         GoTo(store, parser.parse(arguments) ? WantedPage(parser) : QString());
                     });
    QObject::connect(&service, &KDBusService::openRequested, &store,
                     [&store](const QList<QUrl>& links) {
                         GoTo(store, links.isEmpty() ? QString() : links.first().toString());
                     });
    QObject::connect(&service, &KDBusService::activateActionRequested, &store,
                     [&store](const QString& action) { GoTo(store, action); });
}

// Whether the user has answered to a notification of updates.
bool IsWanted()
{
    if (!Preferences::notifies())
        return false;
    bool isWanted = false;
    Notifier notifier;
    QObject::connect(&notifier, &Notifier::finished, &notifier, [&isWanted](bool wanted) {
        isWanted = wanted;
        QApplication::quit();
    });
    QCoreApplication::setQuitLockEnabled(false); // the end of a job is not that of the program
    notifier.start();
    QApplication::exec();
    QCoreApplication::setQuitLockEnabled(true);
    return isWanted;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication::setApplicationName(QStringLiteral("pakmart-store"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("vantrelos.org"));
    QCoreApplication::setApplicationVersion(QStringLiteral(PAKMART_VERSION));
    KLocalizedString::setApplicationDomain("pakmart-store");
    if (HasHelped(argc, argv))
        return 0;
    QApplication app(argc, argv);
    QGuiApplication::setApplicationDisplayName(i18n("Software Store"));
    QGuiApplication::setDesktopFileName(QStringLiteral("org.vantrelos.pakmart-store"));
    QGuiApplication::setWindowIcon(
        QIcon::fromTheme(QStringLiteral("org.vantrelos.pakmart-store"),
                         QIcon(QStringLiteral(":/store/icons/org.vantrelos.pakmart-store.svg"))));
    QCommandLineParser parser;
    Describe(parser);
    parser.process(app);
    const QString page = WantedPage(parser);
    const Address address = ReadAddress(page.isEmpty() ? QStringLiteral("front") : page);
    if (!address.isValid()) {
        std::fprintf(stderr, "pakmart-store: %s\n",
                     qPrintable(i18n("There is no page \"%1\".", page)));
        return 2;
    }
    if (parser.isSet(QStringLiteral("background")) && !IsWanted())
        return 0;
    ChooseStyle();
    ChooseRenderer();
    const KDBusService service(KDBusService::Unique | KDBusService::NoExitOnFailure);
    const DesktopProgress progress;
    StoreWindow store;
    if (!store.open())
        return 1;
    store.go(address);
    Follow(store, service);
    return QApplication::exec();
}
