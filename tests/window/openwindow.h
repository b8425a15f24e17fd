// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The window of the store as a user has it: what it shows is found by names, and it is used by
// clicks and keys. Any warning of its pages counts.
//
//     OpenWindow store;
//     QVERIFY(store.open());
//     QVERIFY(store.click("to-updates"));
//
// With WINDOW_PICTURES=DIR each picture that is checked is kept there.

#pragma once

#include "store/storewindow.h"

#include <QQuickItem>
#include <QQuickItemGrabResult>
#include <QSignalSpy>
#include <QtTest>
#include <memory>

class OpenWindow
{
public:
    OpenWindow()
    {
        warnings().clear();
        m_before = qInstallMessageHandler(note);
    }
    ~OpenWindow()
    {
        m_store.reset();
        qInstallMessageHandler(m_before);
    }
    OpenWindow(const OpenWindow&) = delete;
    OpenWindow& operator=(const OpenWindow&) = delete;

    static QStringList& warnings()
    {
        static QStringList all;
        return all;
    }

    bool open(const QString& page = QStringLiteral("front"), QSize size = QSize(1000, 720))
    {
        m_store = std::make_unique<StoreWindow>();
        m_store->engine().addImportPath(QStringLiteral(QML_MODULES));
        if (!m_store->open())
            return false;
        window()->resize(size);
        m_store->go(ReadAddress(page));
        window()->requestActivate();
        return QTest::qWaitForWindowActive(window())
            && QTest::qWaitFor([this] { return currentPage() != nullptr; });
    }
    QQuickWindow* window() const { return m_store->window(); }
    StoreWindow& store() { return *m_store; }

    // The page in front, whose name ends in "Page" or is "preview".
    QQuickItem* currentPage() const
    {
        QObject* const stack = window()->property("stack").value<QObject*>();
        return stack->property("currentItem").value<QQuickItem*>();
    }
    QString pageName() const { return currentPage() ? currentPage()->objectName() : QString(); }

    // Visible items below `from` by their names, from top to bottom.
    QList<QQuickItem*> all(const QString& name, QQuickItem* from = nullptr) const
    {
        QList<QQuickItem*> found;
        forEachBelow(from ? from : window()->contentItem(), [&](QQuickItem* item) {
            if (item->objectName() == name)
                found << item;
        });
        std::sort(found.begin(), found.end(), [](QQuickItem* a, QQuickItem* b) {
            return a->mapToScene(QPointF()).y() < b->mapToScene(QPointF()).y();
        });
        return found;
    }
    QQuickItem* item(const QString& name, QQuickItem* from = nullptr) const
    {
        const QList<QQuickItem*> found = all(name, from);
        return found.isEmpty() ? nullptr : found.first();
    }
    QStringList texts(const QString& name, QQuickItem* from = nullptr) const
    {
        QStringList found;
        for (QQuickItem* one : all(name, from))
            found << one->property("text").toString();
        return found;
    }

    // Calls `look` with each visible item.
    template <typename Look> void forEachItem(const Look& look) const
    {
        forEachBelow(window()->contentItem(), look);
    }
    // Texts and buttons of the page in front that are partly left or right of the window.
    QStringList outside() const
    {
        QStringList found;
        forEachBelow(currentPage(), [&](QQuickItem* item) {
            const QRectF place = item->mapRectToScene(item->boundingRect());
            const QString text = item->property("text").toString();
            if (!text.isEmpty() && (place.left() < -0.5 || place.right() > window()->width() + 0.5))
                found << text;
        });
        return found;
    }

    // Waits for an enabled item of the page in front, or else of the window, and clicks on it.
    bool click(const QString& name, const QString& within = QString())
    {
        const auto target = [&]() -> QQuickItem* {
            QQuickItem* const place = within.isEmpty() ? nullptr : item(within, currentPage());
            if (!within.isEmpty() && !place)
                return nullptr;
            QQuickItem* const one = item(name, place ? place : currentPage());
            return one || !within.isEmpty() ? one : item(name);
        };
        const auto ready = [&] { return target() && target()->isEnabled(); };
        if (!QTest::qWaitFor(ready, 60000))
            return false;
        QQuickItem* const one = waitForFrame() ? target() : nullptr;
        if (!one)
            return false;
        const QPointF middle = one->mapToScene(QPointF(one->width() / 2, one->height() / 2));
        QTest::mouseClick(window(), Qt::LeftButton, Qt::NoModifier, middle.toPoint());
        return true;
    }
    // Layouts are done when it is drawn: items that were shown just before may lie above others.
    bool waitForFrame()
    {
        QSignalSpy drawn(window(), &QQuickWindow::frameSwapped);
        window()->update();
        return drawn.wait(10000);
    }
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QTest::keyClick(window(), key, modifiers);
    }
    void type(const char* text)
    {
        for (; *text; ++text)
            QTest::keyClick(window(), *text);
    }

    // What is drawn; also kept for people where they ask for it.
    QImage picture(const QString& name) const
    {
        const auto grab = window()->contentItem()->grabToImage();
        if (!grab || !QTest::qWaitFor([&] { return !grab->image().isNull(); }))
            return QImage();
        const QImage image = grab->image();
        const QString folder = QString::fromLocal8Bit(qgetenv("WINDOW_PICTURES"));
        if (!folder.isEmpty())
            image.save(folder + QLatin1Char('/') + name + QStringLiteral(".png"));
        return image;
    }

private:
    static void note(QtMsgType type, const QMessageLogContext& context, const QString& text)
    {
        // Kirigami does without the plugin of a desktop, and fields without spelling.
        const bool isKnown = text.contains(QLatin1String("Failed to find a Kirigami platform"))
            || text.contains(QLatin1String("Sonnet: No speller backends"));
        if (type != QtDebugMsg && type != QtInfoMsg && !isKnown)
            warnings() << text;
        std::fprintf(stderr, "%s: %s\n", context.category, qPrintable(text));
    }
    template <typename Look> static void forEachBelow(QQuickItem* item, const Look& look)
    {
        if (!item->isVisible())
            return;
        look(item);
        for (QQuickItem* child : item->childItems())
            forEachBelow(child, look);
    }

    std::unique_ptr<StoreWindow> m_store;
    QtMessageHandler m_before = nullptr;
};
