// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Every page is drawn, at each width, without a warning, and with nothing outside of the window.

#include "tests/host/storemachine.h"
#include "tests/window/openwindow.h"

#include <Pakmart/RefreshCatalogJob>
#include <QScopeGuard>
#include <QSet>
#include <QSignalSpy>

namespace
{

// Pages, and what is there last.
constexpr const char* lastOnPages[][2] = {
    { "front", "category-Games" }, { "category/Games", "product-starlander" },
    { "product/1001", "install" }, { "installed", "stateText" },
    { "updates", "look" },         { "recent", "heading" },
    { "history", "heading" },      { "about", "version" },
    { "settings", "kept" },        { "account", "sync" },
};

} // namespace

class WindowPagesTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<StoreMachine> m_machine;

    static bool fetchCatalog()
    {
        auto* const job = new Pakmart::RefreshCatalogJob;
        QSignalSpy ends(job, SIGNAL(result(KJob*)));
        job->start();
        return ends.wait(120000);
    }
    // How many colours a picture has: one, if nothing is drawn.
    static int colours(const QImage& image)
    {
        QSet<QRgb> seen;
        for (int y = 0; y < image.height(); y += 2)
            for (int x = 0; x < image.width(); x += 2)
                seen << image.pixel(x, y);
        return seen.size();
    }

    // What can be pressed now: buttons, tiles, entries of the bar. Rows of lists are not among
    // them, since a list moves between its rows by the arrow keys.
    static QList<QQuickItem*> pressable(QQuickItem* item)
    {
        QList<QQuickItem*> found;
        if (!item->isVisible() || !item->isEnabled() || item->inherits("QQuickListView"))
            return found;
        if (item->inherits("QQuickAbstractButton"))
            found << item;
        for (QQuickItem* child : item->childItems())
            found << pressable(child);
        return found;
    }

private slots:
    void initTestCase()
    {
        qputenv("QT_QUICK_BACKEND", "software");
        m_machine = std::make_unique<StoreMachine>();
        QVERIFY(m_machine->setUp());
        QVERIFY(m_machine->serve());
        QVERIFY(fetchCatalog());
    }

    void pageIsDrawn_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("page");
        QTest::addColumn<QString>("item");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("width");
        const char* const pages[][4] = {
            { "front", "frontPage", "heading", "Categories" },
            { "category/Games", "productsPage", "name", "Dice & Cards" },
            { "search/lander", "productsPage", "heading", "Results for \"lander\"" },
            { "product/1001", "productPage", "heading", "Star Lander" },
            { "product/999999", "productPage", "missing", "The store does not have this product." },
            { "installed", "installedPage", "stateText", "No product of the store is installed." },
            { "updates", "updatesPage", "stateText", "Everything is up to date." },
            { "recent", "recentPage", "heading", "Recently used" },
            { "history", "historyPage", "heading", "History" },
            { "account", "accountPage", "heading", "My products" },
            { "settings", "settingsPage", "heading", "Settings" },
            { "about", "aboutPage", "heading", "Software Store" },
        };
        for (const auto& page : pages)
            for (const int width : { 360, 1280, 2560 })
                QTest::newRow(qPrintable(
                    QStringLiteral("%1 at %2").arg(QString::fromLatin1(page[0])).arg(width)))
                    << QString::fromLatin1(page[0]) << QString::fromLatin1(page[1])
                    << QString::fromLatin1(page[2]) << QString::fromLatin1(page[3]) << width;
    }
    void pageIsDrawn()
    {
        QFETCH(QString, address);
        QFETCH(QString, page);
        QFETCH(QString, item);
        QFETCH(QString, text);
        QFETCH(int, width);
        OpenWindow store;
        QVERIFY(store.open(address, QSize(width, 640)));
        QTRY_COMPARE(store.pageName(), page);
        QTRY_VERIFY2(store.texts(item).contains(text), qPrintable(store.texts(item).join('|')));
        QTRY_COMPARE(store.outside(), QStringList());
        QString name = QString::fromLatin1(QTest::currentDataTag());
        const QImage image = store.picture(name.replace('/', '-').replace(' ', '-'));
        QCOMPARE(image.size(), QSize(width, 640));
        QVERIFY(colours(image) > 4);
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    // After a refresh. The fourth game has no picture and keeps the icon of its category.
    void productsHaveTheirOwnIcons_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QStringList>("icons"); // from top to bottom
        QTest::newRow("list") << QStringLiteral("category/Games")
                              << QStringList{ QStringLiteral("dicecards"),
                                              QStringLiteral("mazerunner"),
                                              QStringLiteral("starlander") };
        QTest::newRow("product") << QStringLiteral("product/1001")
                                 << QStringList{ QStringLiteral("starlander") };
    }
    void productsHaveTheirOwnIcons()
    {
        QFETCH(QString, address);
        QFETCH(QStringList, icons);
        OpenWindow store;
        QVERIFY(store.open(address));
        store.key(Qt::Key_F5);
        const auto drawn = [&store] {
            QList<QQuickItem*> found;
            for (QQuickItem* one : store.all(QStringLiteral("ownPicture"), store.currentPage()))
                if (one->property("status").toInt() == 1) // Ready
                    found << one;
            return found;
        };
        QTRY_COMPARE_WITH_TIMEOUT(drawn().size(), icons.size(), 60000);
        const QImage page
            = store.picture(QLatin1String("icons-") + QLatin1String(QTest::currentDataTag()));
        for (int i = 0; i < icons.size(); ++i) {
            const QImage icon(QStringLiteral(DEMO_ICONS "/%1.png").arg(icons[i]));
            QQuickItem* const item = drawn().at(i);
            // In the middle near the upper edge, where it has one colour.
            const QPointF place(item->width() / 2, item->height() * 8 / icon.height());
            const QColor is = page.pixelColor(item->mapToScene(place).toPoint());
            const QColor wanted = icon.pixelColor(icon.width() / 2, 8);
            QVERIFY2(qAbs(is.red() - wanted.red()) < 24 && qAbs(is.green() - wanted.green()) < 24
                         && qAbs(is.blue() - wanted.blue()) < 24,
                     qPrintable(icons[i] + ' ' + is.name() + ' ' + wanted.name()));
        }
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    void textsAreMirrored()
    {
        QGuiApplication::setLayoutDirection(Qt::RightToLeft);
        {
            OpenWindow store;
            QVERIFY(store.open(QStringLiteral("product/1001")));
            QTRY_VERIFY(store.item(QStringLiteral("install")));
            store.picture(QStringLiteral("mirrored"));
            QQuickItem* const button = store.item(QStringLiteral("install"));
            QTRY_VERIFY(button->mapToScene(QPointF()).x() > store.window()->width() / 2);
            QCOMPARE(OpenWindow::warnings(), QStringList());
        }
        QGuiApplication::setLayoutDirection(Qt::LeftToRight);
    }

    void nothingIsOutsideOfTheWindow_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("last");
        QTest::addColumn<bool>("isMirrored");
        QTest::addColumn<int>("scale");
        QTest::addColumn<int>("width");
        for (const auto& page : lastOnPages) {
            const QString address = QString::fromLatin1(page[0]),
                          last = QString::fromLatin1(page[1]);
            QTest::newRow(qPrintable(address + QStringLiteral(" mirrored")))
                << address << last << true << 1 << 360;
            QTest::newRow(qPrintable(address + QStringLiteral(" with large letters")))
                << address << last << false << 2 << 720;
        }
    }
    void nothingIsOutsideOfTheWindow()
    {
        QFETCH(QString, address);
        QFETCH(QString, last);
        QFETCH(bool, isMirrored);
        QFETCH(int, scale);
        QFETCH(int, width);
        const QFont font = QGuiApplication::font();
        QFont larger = font;
        larger.setPointSizeF(font.pointSizeF() * scale);
        QGuiApplication::setFont(larger);
        QGuiApplication::setLayoutDirection(isMirrored ? Qt::RightToLeft : Qt::LeftToRight);
        const auto reset = qScopeGuard([&font] {
            QGuiApplication::setFont(font);
            QGuiApplication::setLayoutDirection(Qt::LeftToRight);
        });
        OpenWindow store;
        QVERIFY(store.open(address, QSize(width, 640)));
        QTRY_VERIFY(store.item(last, store.currentPage()));
        store.picture(QString::fromLatin1(QTest::currentDataTag()).replace('/', '-'));
        QTRY_COMPARE(store.outside(), QStringList());
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    // From one to the next with the Tab key, until it begins again.
    void everythingIsReachedByTheTabKey_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("last");
        QTest::addColumn<int>("width");
        for (const auto& page : lastOnPages)
            for (const int width : { 360, 1280 })
                QTest::newRow(qPrintable(
                    QStringLiteral("%1 at %2").arg(QString::fromLatin1(page[0])).arg(width)))
                    << QString::fromLatin1(page[0]) << QString::fromLatin1(page[1]) << width;
    }
    void everythingIsReachedByTheTabKey()
    {
        QFETCH(QString, address);
        QFETCH(QString, last);
        QFETCH(int, width);
        OpenWindow store;
        QVERIFY(store.open(address, QSize(width, 640)));
        QTRY_VERIFY(store.item(last, store.currentPage()));
        QList<QQuickItem*> reached;
        for (int step = 0; step < 100; ++step) {
            store.key(Qt::Key_Tab);
            QQuickItem* const item = store.window()->activeFocusItem();
            QVERIFY(item && item->isVisible());
            if (reached.contains(item))
                break;
            reached << item;
        }
        QVERIFY2(reached.size() < 100, "there is no end");
        QStringList missed;
        for (QQuickItem* const item : pressable(store.window()->contentItem()))
            if (!reached.contains(item))
                missed << item->objectName();
        QCOMPARE(missed, QStringList());
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    void whatTheTabKeyReachesIsOpenedByKeys_data()
    {
        QTest::addColumn<QString>("item");
        QTest::addColumn<Qt::Key>("key");
        QTest::addColumn<QString>("page");
        QTest::newRow("a tile by Return")
            << QStringLiteral("category-Games") << Qt::Key_Return << QStringLiteral("productsPage");
        QTest::newRow("a tile by the space bar")
            << QStringLiteral("category-Games") << Qt::Key_Space << QStringLiteral("productsPage");
        QTest::newRow("a page by Return")
            << QStringLiteral("to-history") << Qt::Key_Return << QStringLiteral("historyPage");
        QTest::newRow("a page by the space bar")
            << QStringLiteral("to-about") << Qt::Key_Space << QStringLiteral("aboutPage");
    }
    void whatTheTabKeyReachesIsOpenedByKeys()
    {
        QFETCH(QString, item);
        QFETCH(Qt::Key, key);
        QFETCH(QString, page);
        OpenWindow store;
        QVERIFY(store.open());
        QTRY_VERIFY(store.item(item));
        for (int step = 0; step < 100 && !store.item(item)->hasActiveFocus(); ++step)
            store.key(Qt::Key_Tab);
        QVERIFY(store.item(item)->hasActiveFocus());
        QVERIFY(store.item(item)->property("visualFocus").toBool());
        store.key(key);
        QTRY_COMPARE(store.pageName(), page);
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    void theDrawerAndItsKeysLeadToThePages()
    {
        OpenWindow store;
        QVERIFY(store.open());
        const QStringList names{ "frontPage",   "installedPage", "updatesPage",  "recentPage",
                                 "historyPage", "accountPage",   "settingsPage", "aboutPage" };
        for (int i = names.size() - 1; i >= 0; --i) {
            store.key(Qt::Key(Qt::Key_1 + i), Qt::AltModifier);
            QTRY_COMPARE(store.pageName(), names[i]);
        }
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    void aSearchFollowsWhatIsTypedAndTheKeysLeadOn()
    {
        OpenWindow store;
        QVERIFY(store.open());
        store.key(Qt::Key_F, Qt::ControlModifier);
        store.type("lander");
        QTRY_COMPARE(store.pageName(), QStringLiteral("productsPage"));
        QTRY_COMPARE(store.all(QStringLiteral("product-starlander")).size(), 1);
        QTRY_COMPARE(store.all(QStringLiteral("product-mazerunner")).size(), 0);
        store.key(Qt::Key_Down);
        QTRY_VERIFY(store.window()->activeFocusItem()
                    && store.window()->activeFocusItem()->objectName() != "search");
        store.key(Qt::Key_Return);
        QTRY_COMPARE(store.pageName(), QStringLiteral("productPage"));
        store.key(Qt::Key_Escape);
        QTRY_COMPARE(store.pageName(), QStringLiteral("productsPage"));
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    // The header is as high as the search in it, however narrow the window is.
    void theHeaderHasNoEmptyStrip_data()
    {
        QTest::addColumn<bool>("isMirrored");
        QTest::addColumn<int>("width");
        for (const bool isMirrored : { false, true })
            for (const int width : { 360, 1280 })
                QTest::newRow(qPrintable(
                    QStringLiteral("%1 at %2")
                        .arg(isMirrored ? QStringLiteral("mirrored") : QStringLiteral("plain"))
                        .arg(width)))
                    << isMirrored << width;
    }
    void theHeaderHasNoEmptyStrip()
    {
        QFETCH(bool, isMirrored);
        QFETCH(int, width);
        QGuiApplication::setLayoutDirection(isMirrored ? Qt::RightToLeft : Qt::LeftToRight);
        const auto reset
            = qScopeGuard([] { QGuiApplication::setLayoutDirection(Qt::LeftToRight); });
        OpenWindow store;
        QVERIFY(store.open(QStringLiteral("about"), QSize(width, 640)));
        QQuickItem* const search = store.item(QStringLiteral("search"));
        const auto below = [&] {
            const QPointF end = search->mapToScene(QPointF(0, search->height()));
            return store.currentPage()->mapToScene(QPointF()).y() - end.y();
        };
        QTRY_VERIFY2(below() >= 0 && below() <= 16, qPrintable(QString::number(below())));
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    // The store arranges its categories; without that there are only the categories.
    void aislesAreAboveTheCategories()
    {
        QFile::remove(m_machine->data(".aisles"));
        OpenWindow store;
        QVERIFY(store.open());
        QTRY_VERIFY(store.item(QStringLiteral("category-Games")));
        QCOMPARE(store.all(QStringLiteral("aisle")).size(), 0);
        store.key(Qt::Key_F5);
        QTRY_COMPARE_WITH_TIMEOUT(store.texts(QStringLiteral("aisleName")),
                                  (QStringList{ "Play", "Work", "School & Home" }), 60000);
        QCOMPARE(store.texts(QStringLiteral("aisleText")).value(0),
                 QStringLiteral("For long evenings."));
        const QList<QQuickItem*> aisles = store.all(QStringLiteral("aisle"));
        QTRY_VERIFY(aisles.last()->mapToScene(QPointF()).y()
                    < store.item(QStringLiteral("heading"))->mapToScene(QPointF()).y());
        store.picture(QStringLiteral("aisles"));
        QVERIFY(store.click(QStringLiteral("aisleCategory-Games")));
        QTRY_COMPARE(store.pageName(), QStringLiteral("productsPage"));
        QTRY_COMPARE(store.all(QStringLiteral("product-starlander")).size(), 1);
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }
    // The first picture is of what was fetched before.
    void aislesAreThereBeforeTheStoreIsAsked()
    {
        QVERIFY(m_machine->endServer());
        OpenWindow store;
        QVERIFY(store.open());
        QTRY_COMPARE(store.texts(QStringLiteral("aisleName")),
                     (QStringList{ "Play", "Work", "School & Home" }));
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    void aRestartThatIsNeededIsSaid()
    {
        const QString file = m_machine->root + QStringLiteral("/run/reboot-required");
        QVERIFY(QDir().mkpath(QFileInfo(file).path()));
        OpenWindow store;
        QVERIFY(store.open(QStringLiteral("updates")));
        QTRY_VERIFY(store.item(QStringLiteral("look")));
        QVERIFY(!store.item(QStringLiteral("restartHint")));
        for (const QString& name : { file + QStringLiteral(".pkgs"), file }) {
            QFile out(name);
            QVERIFY(out.open(QIODevice::WriteOnly) && out.write("linux-image-amd64\n") > 0);
        }
        QTRY_COMPARE(
            store.texts(QStringLiteral("restartHint")),
            QStringList{ "Restart the computer to finish the updates of: linux-image-amd64" });
        store.picture(QStringLiteral("restart"));
        QVERIFY(QFile::remove(file));
        QTRY_VERIFY(!store.item(QStringLiteral("restartHint")));
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    void aTileLeadsToItsCategory()
    {
        OpenWindow store;
        QVERIFY(store.open());
        QVERIFY(store.click(QStringLiteral("category-Games")));
        QTRY_COMPARE(store.pageName(), QStringLiteral("productsPage"));
        QTRY_COMPARE(store.all(QStringLiteral("product-starlander")).size(), 1);
        QCOMPARE(store.all(QStringLiteral("product-deskcalendar")).size(), 0);
        QVERIFY(store.click(QStringLiteral("product-mazerunner")));
        QTRY_COMPARE(store.texts(QStringLiteral("heading"), store.currentPage()),
                     QStringList{ QStringLiteral("Maze Runner") });
        QVERIFY(store.click(QStringLiteral("back")));
        QTRY_COMPARE(store.pageName(), QStringLiteral("productsPage"));
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }
};

QTEST_MAIN(WindowPagesTest)
#include "tst_window_pages.moc"
