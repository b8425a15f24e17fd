// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The event pump, the error box, the policy hook and the broadcast of a changed menu.

#include "util/desktop.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDialog>
#include <QLabel>
#include <QTimer>
#include <QtTest>

using namespace Agent;

class DesktopTest : public QObject
{
    Q_OBJECT

    int m_seen = 0;

public slots:
    void onMessage(int id, int value) { m_seen += id == 32 && value == 1652; }

private slots:
    void oneProcessMessagesPassRunsWhatIsPosted()
    {
        bool ran = false;
        QMetaObject::invokeMethod(
            this, [&ran] { ran = true; }, Qt::QueuedConnection);
        QVERIFY(!ran);
        ProcessMessages();
        QVERIFY(ran);
    }

    void updatesMayAlwaysBeOffered()
    {
        QVERIFY(okToDoUpdate(QString(), QString()));
        QVERIFY(okToDoUpdate(QStringLiteral("a"), QStringLiteral("b")));
    }

    void errorBoxShowsTheTextUntilClosed()
    {
        QString seen;
        QString caption;
        bool parented = true;
        QTimer timer;
        connect(&timer, &QTimer::timeout, this, [&] {
            auto* const box = qobject_cast<QDialog*>(QApplication::activeModalWidget());
            if (!box)
                return;
            for (const QLabel* label : box->findChildren<QLabel*>())
                seen += label->text();
            parented = box->parentWidget() != nullptr;
            caption = box->windowTitle();
            box->reject();
        });
        timer.start(5);
        ShowErrorMsg("Something <b>failed</b> \xC3\xA9");
        QVERIFY(!parented);
        QVERIFY2(seen.contains(QString::fromUtf8("failed")), qPrintable(seen));
        // The caption is the desktop's own text for an error.
        QVERIFY2(!caption.contains(QLatin1String("failed")), qPrintable(caption));
        QVERIFY(!QApplication::activeModalWidget());
    }

    void menuChangeIsBroadcast()
    {
        QVERIFY(QDBusConnection::sessionBus().connect(
            QString(), QStringLiteral("/KIPC"), QStringLiteral("org.kde.KIPC"),
            QStringLiteral("message"), this, SLOT(onMessage(int, int))));
        BroadcastMenuChange();
        QTRY_COMPARE(m_seen, 1);
    }
};

int main(int argc, char** argv)
{
    // Without an application there is nothing to process, and no crash.
    ProcessMessages();
    QApplication application(argc, argv);
    DesktopTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_desktop.moc"
